/*
 * configstorec.h - C interface to the host's configuration store.
 *
 * Conventions (they hold for every function below unless its comment says otherwise):
 *
 * Results.  Every function returns a ConfigStoreCStatus: CS_C_OK (0) or one of the codes below.
 *   No function returns any other value. Every failure other than "not found" also writes one
 *   line to the engine's log, "<function>: <reason>".
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
 *   threads at once.
 *
 * Exceptions never cross this interface: an unexpected failure inside the library or the engine
 * is reported as CS_C_INTERNAL_ERROR.
 */
#ifndef CONFIGSTOREC_H
#define CONFIGSTOREC_H

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
/* A filter specification or sub-object filter. */
typedef struct FilterSpecObjectStruct FilterSpecObjectStruct;

/*
 * Opens the store of a namespace.
 * @param nameSpace  the namespace; NULL opens the store's default namespace.
 * @param[out] store  on CS_C_OK a new store handle, released with DestroyStore; NULL on
 *                    CS_C_NOT_FOUND; untouched otherwise.
 * @return CS_C_OK; CS_C_NOT_FOUND when no store is available for the namespace (not logged);
 *         CS_C_STORE_ERROR when the store failed to open.
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
 * Releases a top-level filter specification handle and every sub-object filter handle cached
 * under it.
 * @return CS_C_OK; CS_C_INVALID_ARGUMENT for NULL and for a child handle (which stays intact).
 */
ConfigStoreCStatus DestroyFilterSpecObject(FilterSpecObjectStruct* filter);

#ifdef __cplusplus
} /* extern "C" */

/*
 * C++ only. Releases any object handle, top-level or child, with everything cached under it.
 * The handle must be live; a child's parent keeps its entry, so callers outside the library use
 * DestroyConfigStoreObject instead.
 * @return CS_C_OK.
 */
ConfigStoreCStatus DestroyConfigStoreObjectInternal(ConfigStoreObjectStruct* object);
#endif

#endif /* CONFIGSTOREC_H */
