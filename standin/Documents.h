// How the store's file keeps documents: as JSON text, or, once the store has learnt from its own
// documents, as zstd frames compressed against a dictionary trained on them. A configuration
// document repeats the names and shapes of its class's other instances, so a small one shrinks
// to a fraction of its text, where compressed alone it would hardly shrink at all.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Sql.h"

struct ZSTD_CCtx_s;
struct ZSTD_DCtx_s;
struct ZSTD_CDict_s;
struct ZSTD_DDict_s;

namespace standin {

// The documents of one store's main database. Not thread-safe: the store's lock guards it.
class Documents {
public:
    Documents();
    Documents(const Documents&) = delete;
    Documents& operator=(const Documents&) = delete;
    ~Documents();

    // The JSON text of a stored document, valid until the next Expand; empty when it cannot be
    // expanded (damage, which the reader reports with the object's name).
    std::string_view Expand(Database& db, StoredDocument stored);

    // What a row of the main database stores for `text`, valid until the next Pack: compressed
    // with the store's newest dictionary where that saves bytes, else the text itself.
    StoredDocument Pack(Database& db, std::string_view text);

    // After a write, outside its savepoint: trains a dictionary on the store's newest documents
    // when it is due one (at 32 rows, then each time the rows grow 8-fold), checked as each
    // transaction ends and every so many documents inside one. The first dictionary also
    // compresses the rows stored as text before it. The store works on without: a training
    // that fails only logs why, unless SQLite ended the transaction, whose failure it raises.
    void TrainIfDue(Database& db, bool endsTransaction);

    // A transaction begins: its first write looks the newest dictionary up again (one that a
    // cancelled transaction trained is gone; another process may have trained one since).
    void TransactionBegins() { newestKnown_ = false; }

private:
    template <class T>
    struct Free {
        void operator()(T* pointer) const;
    };
    template <class T>
    using Owned = std::unique_ptr<T, Free<T>>;

    const ZSTD_DDict_s* Dictionary(Database& db, unsigned id);
    void UseNewest(Database& db);
    void Train(Database& db, long long rows, bool first);
    void RepackTexts(Database& db);

    bool newestKnown_ = false;  // compressor_ is the file's newest dictionary, or none is
    long long compressorId_ = 0;
    int unchecked_ = 0;  // documents packed since the last check for a training
    std::string packed_, expanded_;
    Owned<ZSTD_CCtx_s> compression_;
    Owned<ZSTD_DCtx_s> expansion_;
    Owned<ZSTD_CDict_s> compressor_;
    // By zstd's dictionary id, a hash of the content: a dictionary of a transaction that was
    // rolled back and one that another process stored later never share an id.
    std::unordered_map<unsigned, Owned<ZSTD_DDict_s>> expanders_;
};

}  // namespace standin
