/*
 * configstorec.h - C interface to the host's configuration store.
 *
 * Conventions (they hold for every function below unless its comment says otherwise):
 *
 * Results.  Every function returns a ConfigStoreCStatus: CS_C_OK (0) or one of the codes below.
 *   No function returns any other value. Every failure other than "not found" also writes one
 *   line to the engine's log, "<function>: <reason>", which ConfigStoreCLastError gives the
 *   calling thread until its next call (see Extensions at the end; they return texts).
 *
 * Handles.  ConfigStoreStruct, ConfigStoreObjectStruct and FilterSpecObjectStruct are opaque.
 *   A store handle is released with DestroyStore. An object or filter handle that a function
 *   hands to the caller ("top-level") is released with DestroyConfigStoreObject or
 *   DestroyFilterSpecObject, which also release every child handle cached under it. Child
 *   handles (sub-objects, sub-object filters) are borrowed: they belong to their parent and end
 *   with it; never pass them to a destroy function. Object handles do not refer to the store
 *   handle they were fetched through: the store handle may be destroyed first.
 *
 * Arguments.  Required pointer arguments are tested for NULL, in parameter order unless a
 *   function says otherwise; the first missing one gives CS_C_INVALID_ARGUMENT and a log line.
 *   Empty strings are valid. Out-pointers are not tested: pass valid ones. A function writes its
 *   out-values only on the outcomes its comment names, so set out-pointers to NULL and counts to
 *   0 before a call.
 *
 * Memory.  Strings handed to the caller are NUL-terminated and released with free(). Other
 *   returned memory names its release function where it is returned.
 *
 * Threads.  The library starts no threads and takes no locks. Distinct handles may be used from
 *   different threads; one handle, together with its child handles, must not be used from two
 *   threads at once. A transaction belongs to the thread that began it: only that thread's
 *   writes join it and only its reads see its uncommitted data. Another thread's writes wait for
 *   it as another process's would (up to the engine's busy timeout, then CS_C_STORE_ERROR), and
 *   its CommitTransaction and CancelTransaction find no transaction of its own.
 *
 * Log lines.  Each failure logs one line; control characters of the texts it quotes (names,
 *   contexts, documents) are written as escapes (\n, \t, \xHH), so no text forges a line.
 *
 * Exceptions never cross this interface: an unexpected failure inside the library or the engine
 * is reported as CS_C_INTERNAL_ERROR.
 */
#ifndef CONFIGSTOREC_H
#define CONFIGSTOREC_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The result of every function: one of the CS_C_* codes. */
typedef int ConfigStoreCStatus;

enum {
    CS_C_OK = 0,               /* The operation completed. */
    CS_C_STORE_ERROR = 1,      /* The store failed the operation. */
    CS_C_INVALID_ARGUMENT = 2, /* A required argument is missing or unusable. */
    CS_C_VALIDATION_ERROR = 3, /* The store rejected the data against its schema or rules. */
    CS_C_INVALID_TYPE = 4,     /* The stored value has another type than the operation's. */
    CS_C_INTERNAL_ERROR = 5,   /* Any other failure inside the store or the library. */
    CS_C_NOT_FOUND = 6,        /* Nothing exists to return. */
    CS_C_VALUE_IS_DEFAULT = 7  /* A value was delivered from the defaults, not from the object. */
};

/* An opened store. */
typedef struct ConfigStoreStruct ConfigStoreStruct;
/* A configuration object or sub-object. */
typedef struct ConfigStoreObjectStruct ConfigStoreObjectStruct;
/* A filter spec or sub-object filter. */
typedef struct FilterSpecObjectStruct FilterSpecObjectStruct;
/* One problem an import found: a key and a message. */
typedef struct ErrorInfoStruct ErrorInfoStruct;

/*
 * Opens the store of a namespace.
 * @param nameSpace  the namespace; NULL opens the store's default namespace.
 * @param[out] store  on CS_C_OK a new store handle, released with DestroyStore; NULL on
 *                    CS_C_NOT_FOUND; untouched otherwise.
 * @return CS_C_OK; CS_C_NOT_FOUND when no store is available for the namespace (not logged);
 *         CS_C_STORE_ERROR when the store failed to open; CS_C_INTERNAL_ERROR for any other
 *         failure.
 */
ConfigStoreCStatus GetStore(const char* nameSpace, ConfigStoreStruct** store);

/*
 * Releases a store handle. Objects fetched through it stay valid.
 * @return CS_C_OK, also for NULL.
 */
ConfigStoreCStatus DestroyStore(ConfigStoreStruct* store);

/*
 * Releases a top-level object handle and every child handle cached under it.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for NULL, for a handle that holds no object, and for a
 *         child handle (which stays intact).
 */
ConfigStoreCStatus DestroyConfigStoreObject(ConfigStoreObjectStruct* object);

/*
 * Releases a top-level filter spec handle and every sub-object filter handle cached under it.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for NULL and for a child handle (which stays intact).
 */
ConfigStoreCStatus DestroyFilterSpecObject(FilterSpecObjectStruct* filter);

/* ---- Objects ------------------------------------------------------------------------------
 * An object is named by key, group and component (always in that order in parameter lists)
 * and, for an object that exists in several instances, an instance id; NULL and "" name the
 * same identity. Key, component and group are required and are tested in that order.
 */

/*
 * Fetches the object the store holds for an identity.
 * @param instanceId  may be NULL.
 * @param[out] object  on CS_C_OK a new top-level handle, released with
 *                     DestroyConfigStoreObject; NULL on CS_C_NOT_FOUND; untouched otherwise.
 * @return CS_C_OK; CS_C_NOT_FOUND when the store has no such object (not logged);
 *         CS_C_INVALID_ARGUMENT for a missing store, key, component or group;
 *         CS_C_STORE_ERROR when the store failed; CS_C_INTERNAL_ERROR for any other failure.
 */
ConfigStoreCStatus Get(ConfigStoreStruct* store, const char* key, const char* group,
                       const char* component, const char* instanceId,
                       ConfigStoreObjectStruct** object);

/* As Get, for the object as its default configuration defines it. */
ConfigStoreCStatus GetDefaultConfig(ConfigStoreStruct* store, const char* key, const char* group,
                                    const char* component, const char* instanceId,
                                    ConfigStoreObjectStruct** object);

/* As Get, for the desired user configuration of an identity; needs no store handle. */
ConfigStoreCStatus GetDesiredUserConfig(const char* key, const char* group, const char* component,
                                        const char* instanceId, ConfigStoreObjectStruct** object);

/*
 * Makes a new configuration object from its document text. The store is not written: pass the
 * object to a store write for that.
 * @param instanceId  may be NULL.
 * @param value  the object's document text; required.
 * @param[out] object  on CS_C_OK a new top-level handle, released with
 *                     DestroyConfigStoreObject; untouched otherwise.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing argument or an identity or document the
 *         store refuses; CS_C_STORE_ERROR for any other failure of the store.
 */
ConfigStoreCStatus CreateObject(const char* key, const char* group, const char* component,
                                const char* instanceId, const char* value,
                                ConfigStoreObjectStruct** object);

/*
 * Makes a new, empty filter spec with an identity; no store is contacted. Fill it with
 * the GetValueFso / SetValueFso functions.
 * @param instanceId  may be NULL.
 * @param[out] filter  on CS_C_OK a new top-level handle, released with DestroyFilterSpecObject;
 *                     untouched otherwise.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing key, component or group.
 */
ConfigStoreCStatus CreateFilterSpecObject(const char* key, const char* group, const char* component,
                                          const char* instanceId, FilterSpecObjectStruct** filter);

/*
 * Reads the identity of an object. Note the order: component before group.
 * @param[out] key, component, group  on CS_C_OK new strings, each released with free().
 * @param[out] instanceId  on CS_C_OK a new string released with free() when the object has an
 *                         instance id; untouched when it has none.
 * @return CS_C_OK; CS_C_VALIDATION_ERROR when object is NULL.
 */
ConfigStoreCStatus GetConfigStoreObjectId(ConfigStoreObjectStruct* object, char** key,
                                          char** component, char** group, char** instanceId);

/*
 * Reads the version text of an object.
 * @param[out] version  on CS_C_OK a new string, released with free().
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT when object is NULL.
 */
ConfigStoreCStatus GetVersion(ConfigStoreObjectStruct* object, char** version);

/*
 * Reads the version of the schema of an identity (no instance id).
 * @param[out] version  on CS_C_OK a new string, released with free(); untouched otherwise.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing key, component or group;
 *         CS_C_STORE_ERROR when the store failed; CS_C_INTERNAL_ERROR for any other failure.
 */
ConfigStoreCStatus GetSchemaVersion(const char* key, const char* group, const char* component,
                                    char** version);

/*
 * Makes a fresh instance id.
 * @param[out] instanceId  on CS_C_OK a new string, released with free().
 * @return CS_C_OK.
 */
ConfigStoreCStatus GenerateInstanceId(char** instanceId);

/* ---- Values -------------------------------------------------------------------------------
 * Every value function exists on an object handle and, with Fso after the verb, on a filter
 * spec handle; both act on the object in memory only (a store write stores it). The
 * handle and the key are required: a NULL one gives CS_C_INVALID_ARGUMENT.
 *
 * Reads return CS_C_OK when the object holds the value, CS_C_VALUE_IS_DEFAULT when the value
 * delivered is the default configuration's, CS_C_NOT_FOUND (not logged) when there is none, and
 * CS_C_INVALID_TYPE when the key holds a value of another type. Scalar reads write *value only
 * through the store: on CS_C_NOT_FOUND and on failures it is left as the store left it.
 * Writes return CS_C_OK, or CS_C_INVALID_ARGUMENT when the store refuses the value. Appends add
 * one element at the end of the list stored under the key; they also return CS_C_INVALID_TYPE
 * when the key holds something other than a list of that type. A list value is written with
 * SetValueEmptyList followed by one append per element.
 */

ConfigStoreCStatus GetValueInt(ConfigStoreObjectStruct* object, const char* key, int* value);
ConfigStoreCStatus GetValueUint16(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned short* value);
ConfigStoreCStatus GetValueUint32(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned int* value);
ConfigStoreCStatus GetValueLong(ConfigStoreObjectStruct* object, const char* key, long* value);
ConfigStoreCStatus GetValueLonglong(ConfigStoreObjectStruct* object, const char* key,
                                    long long* value);
ConfigStoreCStatus GetValueBool(ConfigStoreObjectStruct* object, const char* key, bool* value);
ConfigStoreCStatus GetValueDouble(ConfigStoreObjectStruct* object, const char* key, double* value);
ConfigStoreCStatus GetValueFsoInt(FilterSpecObjectStruct* filter, const char* key, int* value);
ConfigStoreCStatus GetValueFsoUint16(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned short* value);
ConfigStoreCStatus GetValueFsoUint32(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned int* value);
ConfigStoreCStatus GetValueFsoLong(FilterSpecObjectStruct* filter, const char* key, long* value);
ConfigStoreCStatus GetValueFsoLonglong(FilterSpecObjectStruct* filter, const char* key,
                                       long long* value);
ConfigStoreCStatus GetValueFsoBool(FilterSpecObjectStruct* filter, const char* key, bool* value);
ConfigStoreCStatus GetValueFsoDouble(FilterSpecObjectStruct* filter, const char* key,
                                     double* value);

ConfigStoreCStatus SetValueInt(ConfigStoreObjectStruct* object, const char* key, int value);
ConfigStoreCStatus SetValueUint16(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned short value);
ConfigStoreCStatus SetValueUint32(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned int value);
ConfigStoreCStatus SetValueLong(ConfigStoreObjectStruct* object, const char* key, long value);
ConfigStoreCStatus SetValueLonglong(ConfigStoreObjectStruct* object, const char* key,
                                    long long value);
ConfigStoreCStatus SetValueBool(ConfigStoreObjectStruct* object, const char* key, bool value);
ConfigStoreCStatus SetValueDouble(ConfigStoreObjectStruct* object, const char* key, double value);
ConfigStoreCStatus SetValueFloat(ConfigStoreObjectStruct* object, const char* key, float value);
ConfigStoreCStatus SetValueFsoInt(FilterSpecObjectStruct* filter, const char* key, int value);
ConfigStoreCStatus SetValueFsoUint16(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned short value);
ConfigStoreCStatus SetValueFsoUint32(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned int value);
ConfigStoreCStatus SetValueFsoLong(FilterSpecObjectStruct* filter, const char* key, long value);
ConfigStoreCStatus SetValueFsoLonglong(FilterSpecObjectStruct* filter, const char* key,
                                       long long value);
ConfigStoreCStatus SetValueFsoBool(FilterSpecObjectStruct* filter, const char* key, bool value);
ConfigStoreCStatus SetValueFsoDouble(FilterSpecObjectStruct* filter, const char* key, double value);
ConfigStoreCStatus SetValueFsoFloat(FilterSpecObjectStruct* filter, const char* key, float value);

/* Appends on objects; their filter spec twins are declared for C++ below. */
ConfigStoreCStatus AppendValueInt(ConfigStoreObjectStruct* object, const char* key, int value);
ConfigStoreCStatus AppendValueLonglong(ConfigStoreObjectStruct* object, const char* key,
                                       long long value);
ConfigStoreCStatus AppendValueDouble(ConfigStoreObjectStruct* object, const char* key,
                                     double value);
ConfigStoreCStatus AppendValueBool(ConfigStoreObjectStruct* object, const char* key, bool value);

/* Removes the key and its value. @return CS_C_OK, or CS_C_INVALID_ARGUMENT. */
ConfigStoreCStatus RemoveValue(ConfigStoreObjectStruct* object, const char* key);
ConfigStoreCStatus RemoveValueFso(FilterSpecObjectStruct* filter, const char* key);

/*
 * Reads a string.
 * @param[out] value  a new string, released with free(), after every outcome except
 *                    CS_C_NOT_FOUND, where it is set to NULL: the text read on CS_C_OK and
 *                    CS_C_VALUE_IS_DEFAULT, the empty string on the failures.
 */
ConfigStoreCStatus GetValueStr(ConfigStoreObjectStruct* object, const char* key, char** value);
ConfigStoreCStatus GetValueFsoStr(FilterSpecObjectStruct* filter, const char* key, char** value);

/*
 * Reads a list of strings.
 * @param[out] values  on CS_C_OK and CS_C_VALUE_IS_DEFAULT with elements, a new array of *count
 *                     new strings, released with DestroyStringArrayValue(values, *count); left
 *                     untouched for an empty list; NULL on CS_C_NOT_FOUND.
 * @param[out] count  the number of elements; 0 on CS_C_NOT_FOUND and for an empty list;
 *                    untouched on CS_C_INVALID_ARGUMENT and CS_C_INVALID_TYPE.
 */
ConfigStoreCStatus GetValueStringArray(ConfigStoreObjectStruct* object, const char* key,
                                       char*** values, int* count);

/*
 * Releases a string list from GetValueStringArray: its first count strings, then the array.
 * NULL values, or a NULL *values with count 0, release nothing. *values is not reset.
 * @return CS_C_OK.
 */
ConfigStoreCStatus DestroyStringArrayValue(char*** values, int count);

/*
 * Reads a binary value.
 * @param[out] data, size  set by the store on CS_C_OK and CS_C_VALUE_IS_DEFAULT: *data is a
 *                         buffer of *size bytes allocated with malloc(), released by the caller
 *                         with free(). *data is set to NULL on CS_C_NOT_FOUND.
 */
ConfigStoreCStatus GetValueBinary(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned char** data, unsigned long* size);

/* Writes a string; value is required. */
ConfigStoreCStatus SetValueStr(ConfigStoreObjectStruct* object, const char* key, const char* value);
ConfigStoreCStatus SetValueFsoStr(FilterSpecObjectStruct* filter, const char* key,
                                  const char* value);

/* Appends a string to the list under the key; value is required. */
ConfigStoreCStatus AppendValueString(ConfigStoreObjectStruct* object, const char* key,
                                     const char* value);

/*
 * Writes a binary value of size bytes; data may be NULL only when size is 0 (an empty value).
 * The bytes are copied by the store. @return CS_C_OK, or CS_C_INVALID_ARGUMENT.
 */
ConfigStoreCStatus SetValueBinary(ConfigStoreObjectStruct* object, const char* key,
                                  const unsigned char* data, unsigned long size);
ConfigStoreCStatus SetValueFsoBinary(FilterSpecObjectStruct* filter, const char* key,
                                     const unsigned char* data, unsigned long size);

/* Stores an empty list under the key. @return CS_C_OK, or CS_C_INVALID_ARGUMENT. */
ConfigStoreCStatus SetValueEmptyList(ConfigStoreObjectStruct* object, const char* key);

/*
 * Read a whole list of numbers or booleans (booleans as one byte each, 0 or 1).
 * @param[out] values  on CS_C_OK and CS_C_VALUE_IS_DEFAULT with elements, a new array of *count
 *                     elements, released with free(); left untouched for an empty list; NULL on
 *                     CS_C_NOT_FOUND.
 * @param[out] count  the number of elements; 0 on CS_C_NOT_FOUND and for an empty list;
 *                    untouched on CS_C_INVALID_ARGUMENT and CS_C_INVALID_TYPE.
 */
ConfigStoreCStatus GetValueIntArray(ConfigStoreObjectStruct* object, const char* key, int** values,
                                    int* count);
ConfigStoreCStatus GetValueDoubleArray(ConfigStoreObjectStruct* object, const char* key,
                                       double** values, int* count);
ConfigStoreCStatus GetValueLonglongArray(ConfigStoreObjectStruct* object, const char* key,
                                         long long** values, int* count);
ConfigStoreCStatus GetValueBoolArray(ConfigStoreObjectStruct* object, const char* key,
                                     bool** values, int* count);

/* ---- Store writes -------------------------------------------------------------------------
 * A changed object reaches the store only through one of these writes, each storing a class of
 * the object's data. The store receives its own reference; the handle stays the caller's and
 * unchanged. context is "EXTERNAL" (or NULL) or "INTERNAL", exactly; any other text is refused.
 * The store handle is tested first, then the context, then the object.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing store or object or an unknown context;
 *         CS_C_VALIDATION_ERROR when the data breaks the store's schema or rules;
 *         CS_C_STORE_ERROR for other failures of the store; CS_C_INTERNAL_ERROR for any other.
 */
ConfigStoreCStatus Set(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                       const char* context);
ConfigStoreCStatus Update(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                          const char* context);
ConfigStoreCStatus SetUserData(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                               const char* context);
ConfigStoreCStatus SetVitalData(ConfigStoreStruct* store, ConfigStoreObjectStruct* object);
ConfigStoreCStatus SetCachedData(ConfigStoreStruct* store, ConfigStoreObjectStruct* object);

/*
 * Deletes the object of an identity from the store. Handles that hold it stay valid.
 * @param instanceId  may be NULL.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing store, key, component or group;
 *         CS_C_STORE_ERROR when the store failed; CS_C_INTERNAL_ERROR for any other failure.
 */
ConfigStoreCStatus Delete(ConfigStoreStruct* store, const char* key, const char* group,
                          const char* component, const char* instanceId);

/* Deletes every object the filter spec selects; results as Delete. */
ConfigStoreCStatus DeleteInstances(ConfigStoreStruct* store, FilterSpecObjectStruct* filter);

/* Records a boot status for an identity; needs no store handle. Results as Delete. */
ConfigStoreCStatus SetBootStatus(const char* key, const char* group, const char* component,
                                 const char* instanceId, bool status);

/* ---- Instance lists -----------------------------------------------------------------------
 * Lists of objects cross the interface as an array of handles and an int count.
 */

/*
 * Reads every object a filter spec selects.
 * @param[out] objects  on CS_C_OK a new array of *count new top-level handles, in the store's
 *                      order: destroy each with DestroyConfigStoreObject, then free() the array.
 *                      NULL on CS_C_NOT_FOUND; untouched otherwise.
 * @param[out] count  the number of handles; 0 on CS_C_NOT_FOUND and when the handles cannot be
 *                    allocated (CS_C_INTERNAL_ERROR); untouched on the other failures.
 * @return CS_C_OK; CS_C_NOT_FOUND when nothing is selected (not logged); CS_C_INVALID_ARGUMENT
 *         for a missing store or filter or an argument the store refuses; CS_C_STORE_ERROR and
 *         CS_C_INTERNAL_ERROR as for Get.
 */
ConfigStoreCStatus GetInstances(ConfigStoreStruct* store, FilterSpecObjectStruct* filter,
                                ConfigStoreObjectStruct*** objects, int* count);
/* As GetInstances, from the default configuration. */
ConfigStoreCStatus GetDefaultConfigInstances(ConfigStoreStruct* store,
                                             FilterSpecObjectStruct* filter,
                                             ConfigStoreObjectStruct*** objects, int* count);
/* As GetInstances, for the desired user configuration of every instance of an identity. */
ConfigStoreCStatus GetDesiredUserConfigInstances(const char* key, const char* group,
                                                 const char* component,
                                                 ConfigStoreObjectStruct*** objects, int* count);

/*
 * Write a whole list of objects, as the single-object writes do. objects holds count handles
 * (none read when count is 0 or less); the array stays the caller's.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing store, array or entry, an unknown
 *         context, or a list the store refuses; CS_C_VALIDATION_ERROR, CS_C_STORE_ERROR and
 *         CS_C_INTERNAL_ERROR as for Set.
 */
ConfigStoreCStatus SetInstances(ConfigStoreStruct* store, ConfigStoreObjectStruct** objects,
                                int count, const char* context);
ConfigStoreCStatus SetUserDataInstances(ConfigStoreStruct* store, ConfigStoreObjectStruct** objects,
                                        int count, const char* context);
ConfigStoreCStatus SetVitalDataInstances(ConfigStoreStruct* store,
                                         ConfigStoreObjectStruct** objects, int count);
ConfigStoreCStatus SetCachedDataInstances(ConfigStoreStruct* store,
                                          ConfigStoreObjectStruct** objects, int count);

/* ---- Transactions -------------------------------------------------------------------------
 * Bracket later store operations; what a transaction covers is the store's matter.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT when store is NULL; CS_C_STORE_ERROR when the store
 *         failed; CS_C_INTERNAL_ERROR for any other failure.
 */
ConfigStoreCStatus BeginTransaction(ConfigStoreStruct* store);
ConfigStoreCStatus CommitTransaction(ConfigStoreStruct* store);
ConfigStoreCStatus CancelTransaction(ConfigStoreStruct* store);

/* ---- Import and export --------------------------------------------------------------------
 * The document formats are the store's.
 */

/*
 * Imports a document; the store takes all of it or none.
 * @param document  the document text; required.
 * @param[out] errors, count  written only when the store refuses the document and says why: a
 *                            new list of *count entries, read with GetErrorInfoKey and
 *                            GetErrorInfoMessage and released with DestroyErrorInfoList(errors,
 *                            *count). Untouched on every other outcome.
 * @return CS_C_OK; CS_C_VALIDATION_ERROR when the store refuses the document (with or without
 *         an error list); CS_C_INVALID_ARGUMENT when document is NULL; CS_C_STORE_ERROR when the
 *         store failed; CS_C_INTERNAL_ERROR for any other failure.
 */
ConfigStoreCStatus Import(const char* document, ErrorInfoStruct*** errors, int* count);

/*
 * Read the key or the message of one error-info entry.
 * @param[out] key, message  on CS_C_OK a new string, released with free().
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT (not logged) when info is NULL.
 */
ConfigStoreCStatus GetErrorInfoKey(ErrorInfoStruct* info, char** key);
ConfigStoreCStatus GetErrorInfoMessage(ErrorInfoStruct* info, char** message);

/*
 * Releases an error-info list from Import: its first count entries (NULL ones skipped), then the
 * array. A NULL errors, or a NULL *errors with count 0, releases nothing. *errors is not reset.
 * @return CS_C_OK.
 */
ConfigStoreCStatus DestroyErrorInfoList(ErrorInfoStruct*** errors, int count);

/*
 * Exports the configuration that a list of filter specs selects.
 * @param filters  count handles; the handles stay the caller's.
 * @param[out] document  on CS_C_OK a new string, released with free(); untouched otherwise.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a negative count or a missing array or entry;
 *         CS_C_STORE_ERROR when the store failed; CS_C_INTERNAL_ERROR for any other failure.
 */
ConfigStoreCStatus Export(FilterSpecObjectStruct** filters, int count, char** document);

/* ---- Sub-objects --------------------------------------------------------------------------
 * A configuration object holds sub-objects, named by key and, when a key has several
 * instances, an instance id (NULL and "" name the singleton). They come back as child handles:
 * BORROWED from their parent, which caches them and returns the same handle for the same
 * sub-object. Never destroy a child handle: it ends with its parent (DestroyConfigStoreObject
 * on the top-level ancestor) or when DeleteSubObject / DeleteSubObjectInstances removes it.
 * A child handle is a full object handle: values, identity and its own sub-objects work on it.
 */

/*
 * Creates a sub-object in the parent (in memory; a store write of the top-level object stores
 * it). For an instance id, the key's existing instances are loaded into the cache first.
 * @param[out] subObject  on CS_C_OK the new child handle (borrowed), or NULL when the store made
 *                        none; untouched otherwise.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing object or key; CS_C_STORE_ERROR when the
 *         store failed.
 */
ConfigStoreCStatus CreateSubObject(ConfigStoreObjectStruct* object, const char* key,
                                   const char* instanceId, ConfigStoreObjectStruct** subObject);

/*
 * Gets a sub-object, from the parent's cache when its key is loaded.
 * @param[out] subObject  on CS_C_OK the child handle (borrowed); NULL on CS_C_NOT_FOUND and
 *                        CS_C_STORE_ERROR.
 * @return CS_C_OK; CS_C_NOT_FOUND; CS_C_INVALID_ARGUMENT for a missing object or key;
 *         CS_C_STORE_ERROR when the store failed.
 */
ConfigStoreCStatus GetSubObject(ConfigStoreObjectStruct* object, const char* key,
                                const char* instanceId, ConfigStoreObjectStruct** subObject);

/*
 * Gets the instances of a sub-object that a filter spec selects; the sub-object key is
 * the filter's own key. Every instance of the key is loaded into the cache.
 * @param[out] objects  on CS_C_OK with matches, a new array of *count child handles: free() the
 *                      array, never the handles (borrowed); NULL when nothing matches; untouched
 *                      when the key has no instance at all and on failures.
 * @param[out] count  the number of handles; 0 when nothing matches or the key has no instance.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing object or filter; CS_C_STORE_ERROR when
 *         the store failed.
 */
ConfigStoreCStatus GetSubObjectInstances(ConfigStoreObjectStruct* object,
                                         FilterSpecObjectStruct* filter,
                                         ConfigStoreObjectStruct*** objects, int* count);

/*
 * Deletes a sub-object; its child handle, if cached, is destroyed and must no longer be used.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing object or key.
 */
ConfigStoreCStatus DeleteSubObject(ConfigStoreObjectStruct* object, const char* key,
                                   const char* instanceId);

/*
 * Deletes the instances of the filter's key that the filter selects; their cached child handles
 * are destroyed. @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing object or filter.
 */
ConfigStoreCStatus DeleteSubObjectInstances(ConfigStoreObjectStruct* object,
                                            FilterSpecObjectStruct* filter);

/* ---- Sub-object filters -------------------------------------------------------------------
 * A filter spec holds a filter for each sub-object key. They come back as child
 * handles, BORROWED from their parent like sub-objects: never destroy them; they end with the
 * top-level filter spec or through DeleteSubObjectFilter.
 */

/*
 * Creates a sub-object filter; a repeated create for a key adds another handle under it.
 * @param[out] subFilter  on CS_C_OK the new child handle (borrowed); NULL on CS_C_NOT_FOUND;
 *                        untouched otherwise.
 * @return CS_C_OK; CS_C_NOT_FOUND when the store made none; CS_C_INVALID_ARGUMENT for a missing
 *         filter or key; CS_C_STORE_ERROR when the store failed.
 */
ConfigStoreCStatus CreateSubObjectFilter(FilterSpecObjectStruct* filter, const char* key,
                                         const char* instanceId,
                                         FilterSpecObjectStruct** subFilter);

/* Gets the sub-object filter of a key, from the cache when the key has one; results as above. */
ConfigStoreCStatus GetSubObjectFilter(FilterSpecObjectStruct* filter, const char* key,
                                      const char* instanceId, FilterSpecObjectStruct** subFilter);

/*
 * Deletes the sub-object filter of a key; every cached handle of the key is destroyed.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for a missing filter or key.
 */
ConfigStoreCStatus DeleteSubObjectFilter(FilterSpecObjectStruct* filter, const char* key,
                                         const char* instanceId);

/*
 * Extensions: two functions beside the interface above, exported under a version node of their
 * own (CONFIGSTOREC_EXT_1). They return texts rather than a status, never fail, never log and
 * may be called from any thread at any time.
 */

/*
 * The line that the calling thread's last failing call wrote to the engine's log, as the log
 * prints it after its own prefix, e.g. "Set: Validation Error: '/mtu' ...". Empty after a call
 * that succeeded and after a failure that logged nothing (such as CS_C_NOT_FOUND of a read).
 * Another thread's calls never change it. Only the first 4096 characters of a line are kept.
 * @return a NUL-terminated text owned by the library, never NULL; valid until the calling
 *         thread's next call of a function above. Do not free it.
 */
const char* ConfigStoreCLastError(void);

/*
 * The name of a result code as this header spells it, e.g. "CS_C_VALIDATION_ERROR" for 3.
 * @return a static text, never NULL; "CS_C_UNKNOWN_STATUS" for a value that is no CS_C_* code.
 */
const char* ConfigStoreCStatusName(int status);

#ifdef __cplusplus
} /* extern "C" */

#include <cstdint>
#include <memory>
#include <vector>

namespace KivConfigStore {
class ConfigStore;
class ConfigStoreObject;
class FilterSpecObject;
enum USERDATA_CONTEXT : int32_t;
}  // namespace KivConfigStore

/*
 * C++ only. Releases any object handle, top-level or child, with everything cached under it.
 * The handle must be live; a child's parent keeps its entry, so callers outside the library use
 * DestroyConfigStoreObject instead.
 * @return CS_C_OK.
 */
ConfigStoreCStatus DestroyConfigStoreObjectInternal(ConfigStoreObjectStruct* object);

/*
 * C++ only: the filter spec twins that the library exports under C++ names, with the
 * behaviour of their object counterparts above.
 */
ConfigStoreCStatus AppendValueFsoInt(FilterSpecObjectStruct* filter, const char* key, int value);
ConfigStoreCStatus AppendValueFsoLonglong(FilterSpecObjectStruct* filter, const char* key,
                                          long long value);
ConfigStoreCStatus AppendValueFsoDouble(FilterSpecObjectStruct* filter, const char* key,
                                        double value);
ConfigStoreCStatus AppendValueFsoBool(FilterSpecObjectStruct* filter, const char* key, bool value);
ConfigStoreCStatus AppendValueFsoString(FilterSpecObjectStruct* filter, const char* key,
                                        const char* value);
ConfigStoreCStatus GetValueFsoStringArray(FilterSpecObjectStruct* filter, const char* key,
                                          char*** values, int* count);
ConfigStoreCStatus GetValueFsoBinary(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned char** data, unsigned long* size);
ConfigStoreCStatus SetValueFsoEmptyList(FilterSpecObjectStruct* filter, const char* key);
ConfigStoreCStatus GetValueFsoIntArray(FilterSpecObjectStruct* filter, const char* key,
                                       int** values, int* count);
ConfigStoreCStatus GetValueFsoDoubleArray(FilterSpecObjectStruct* filter, const char* key,
                                          double** values, int* count);
ConfigStoreCStatus GetValueFsoLonglongArray(FilterSpecObjectStruct* filter, const char* key,
                                            long long** values, int* count);
ConfigStoreCStatus GetValueFsoBoolArray(FilterSpecObjectStruct* filter, const char* key,
                                        bool** values, int* count);

/*
 * C++ only: the string list read behind GetValueStringArray and GetValueFsoStringArray, for
 * either kind of handle; logTag names the caller in argument messages.
 */
ConfigStoreCStatus GetValueStringArrayInternal(void* handle, const char* key, char*** values,
                                               int* count, const char* logTag);

/*
 * C++ only: the workers behind the list and transaction functions, for callers that pick the
 * store operation themselves. The last argument names the caller in the log.
 */
ConfigStoreCStatus GetInstancesCInternal(
    ConfigStoreStruct* store, FilterSpecObjectStruct* filter, ConfigStoreObjectStruct*** objects,
    int* count,
    std::vector<std::shared_ptr<KivConfigStore::ConfigStoreObject>> (
        KivConfigStore::ConfigStore::*read)(
        const std::shared_ptr<KivConfigStore::FilterSpecObject>&),
    const char* caller);
ConfigStoreCStatus SetInstancesCInternal(
    ConfigStoreStruct* store, ConfigStoreObjectStruct** objects, int count,
    void (KivConfigStore::ConfigStore::*write)(
        std::vector<std::shared_ptr<KivConfigStore::ConfigStoreObject>>),
    const char* caller);
ConfigStoreCStatus SetInstancesCInternalContext(
    ConfigStoreStruct* store, ConfigStoreObjectStruct** objects, int count,
    void (KivConfigStore::ConfigStore::*write)(
        std::vector<std::shared_ptr<KivConfigStore::ConfigStoreObject>>,
        const KivConfigStore::USERDATA_CONTEXT&),
    const char* context, const char* caller);
ConfigStoreCStatus TransactionInternal(ConfigStoreStruct* store,
                                       void (KivConfigStore::ConfigStore::*operation)(),
                                       const char* name);
#endif

#endif /* CONFIGSTOREC_H */
