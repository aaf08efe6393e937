// Every statement the store runs, in one place: an identity's stored classes, the change
// counter, boot statuses, transactions, and the query of a filter spec.
#pragma once

#include <kivconfigstore/ObjectIds.h>

#include <string>
#include <vector>

#include "Sql.h"

namespace standin {

// Parameters ?1-?4 name an identity (key, group, component, instance id).
extern const Sql kSelectIdentity, kStoreMain, kStoreRuntime, kDeleteMain, kDeleteRuntime;
// An identity's desired configuration of every instance (?1-?3).
extern const Sql kSelectDesired;
// The change counter: counted up with history off (which forgets the history before it), read,
// and the next version with history on.
extern const Sql kCountChange, kReadChanges, kNextKeptVersion;
extern const Sql kBootSetter, kSetBooting, kClearBooting;

// The store's compression dictionaries (Documents): one by its id (?1); the newest one's id and
// content; the rows the objects table has (its highest row id) beside those it had at the latest
// training; the documents, newest first; a new dictionary (?1 id, ?2 rows, ?3 content) and a
// training that found too little to learn from (?1 rows); the rows stored as text after row ?1, a
// batch in row order; one row's document replaced (?1 row, ?2 document); and every compressed
// document with its identity (key, group, component, instance id, document).
extern const Sql kSelectDictionary, kNewestDictionary, kTrainingDue, kNewestDocuments,
    kStoreDictionary, kNoteTraining, kTextsAfter, kRepack, kCompressedDocuments;

// History (History.h). Recording: what an identity's durable class holds, before a write of it
// in commit ?1 (?2-?5 the identity, ?6 the class); what all its durable classes hold, undated,
// before their removal (?1-?4); undated rows from row ?2 on dated ?1; the commit whose first row
// is ?1 noted (?2 time in ms, ?3 uid, ?4 pid, ?5 program, ?6 context). Retention: of the oldest ?3
// rows, the newest version that is at most ?1, older than time ?2 or forgotten already; of the
// oldest ?2 rows, those of version ?1 and before removed; and the history before ?1 marked
// forgotten. Reading: every row, newest first (?1: of that version only, unless 0; ?2: with the
// documents); the rows after version ?1, oldest first; one class's stored document (?1-?4 the
// identity, ?5 the class); the version of the oldest commit that made that class (?1-?5); the
// latest version and the one the history is kept after.
extern const Sql kRecordNew, kRecordWrite, kRecordRemoval, kDateRemovals, kNoteCommit, kForgettable,
    kForget, kNoteForgotten, kHistoryRows, kHistoryAfter, kStoredClass, kMadeIn, kVersions;
// A new class's row many at a time: kRowsAtOnce times the parameters of kRecordNew.
constexpr std::size_t kRowsAtOnce = 64;
extern const Sql kRecordNewRows;
// Apply work a commit leaves (?1 component, ?2 version), and all of it.
extern const Sql kNoteDue, kDueWork;

// A write in the caller's transaction has a savepoint of its own.
extern const Sql kBegin, kCommit, kRollback, kSavepoint, kRelease;
// Undoes the savepoint of a write that failed.
extern const char kUndoSavepoint[];

// One value a filter spec compares, as SQL can test it: the JSON path of its key, the two
// json_type names a value equal to it may have, and the value json_extract gives for it (NULL
// where only the type can be compared exactly).
struct ValueTest {
    std::string path;
    const char* firstType;
    const char* secondType;
    SqlValue value;
};
struct Query {
    std::string text;
    std::vector<SqlValue> arguments;
};
// The rows of every stored class (store and runtime databases) of the identities whose key,
// group, component and instance id equal `fields`' non-empty ones, and of which no stored value
// class kept as text holds a value under a tested path that differs from it, in identity and class
// order (the identity index's; the rows that the component index finds are sorted). Columns: key,
// group, component, instance id, class, document, version.
Query SelectStored(const KivConfigStore::ConfigStoreObjectId& fields,
                   const std::vector<ValueTest>& tests);

}  // namespace standin
