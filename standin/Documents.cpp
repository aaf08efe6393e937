#include "Documents.h"

#include <kivconfigstore/CSLogger.h>
#include <zdict.h>
#include <zstd.h>

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "Statements.h"

namespace standin {

namespace {

// Compression costs a write about 4 µs and a read about 1.5 µs per KiB here, whatever the
// size, and a call's fixed cost (about 1 µs and 0.3 µs) besides: a document under 1 KiB, whose
// row's identity and indexes weigh as much as its text, stays text, as cheap to read as before.
constexpr std::size_t kCompressFrom = 1 << 10;
constexpr int kLevel = 1;
constexpr long long kFirstTraining = 32;  // rows
constexpr long long kGrowth = 8;
// How many documents a transaction packs between two checks for a training.
constexpr int kCheckWithout = 32, kCheckWith = 1024;
// What a training learns from: the newest documents that are compressed, at least this many
// and this much text, looked for among so many rows.
constexpr std::size_t kSampleDocuments = 16, kSampleBytes = 256 << 10, kSampleMost = 4 << 20;
constexpr int kSampleRows = 1 << 16;
constexpr std::size_t kSmallestDictionary = 1 << 10, kLargestDictionary = 16 << 10;
// What the first dictionary compresses of the text before it: a store of an older format may
// hold gigabytes, which then shrink as they are written again.
constexpr std::size_t kRepackBytes = 64 << 20;

template <class T>
T* Made(T* made) {
    if (made == nullptr) throw std::bad_alloc();
    return made;
}

}  // namespace

template <>
void Documents::Free<ZSTD_CCtx>::operator()(ZSTD_CCtx* pointer) const {
    ZSTD_freeCCtx(pointer);
}
template <>
void Documents::Free<ZSTD_DCtx>::operator()(ZSTD_DCtx* pointer) const {
    ZSTD_freeDCtx(pointer);
}
template <>
void Documents::Free<ZSTD_CDict>::operator()(ZSTD_CDict* pointer) const {
    ZSTD_freeCDict(pointer);
}
template <>
void Documents::Free<ZSTD_DDict>::operator()(ZSTD_DDict* pointer) const {
    ZSTD_freeDDict(pointer);
}

Documents::Documents() = default;
Documents::~Documents() = default;

const ZSTD_DDict* Documents::Dictionary(Database& db, unsigned id) {
    auto known = expanders_.find(id);
    if (known != expanders_.end()) return known->second.get();
    auto row = db.Run(kSelectDictionary, static_cast<long long>(id));
    if (!row.Next()) return nullptr;
    const std::string_view content = row.Document(0).bytes;
    Owned<ZSTD_DDict> dictionary(Made(ZSTD_createDDict(content.data(), content.size())));
    if (ZSTD_getDictID_fromDDict(dictionary.get()) != id) return nullptr;
    return expanders_.emplace(id, std::move(dictionary)).first->second.get();
}

std::string_view Documents::Expand(Database& db, StoredDocument stored) {
    if (!stored.compressed) return stored.bytes;
    const std::string_view frame = stored.bytes;
    const unsigned long long size = ZSTD_getFrameContentSize(frame.data(), frame.size());
    if (size == ZSTD_CONTENTSIZE_UNKNOWN || size == ZSTD_CONTENTSIZE_ERROR || size == 0 ||
        size > db.LongestValue()) {
        return {};
    }
    const unsigned id = ZSTD_getDictID_fromFrame(frame.data(), frame.size());
    const ZSTD_DDict* dictionary = id == 0 ? nullptr : Dictionary(db, id);
    if (id != 0 && dictionary == nullptr) return {};
    if (expansion_ == nullptr) expansion_.reset(Made(ZSTD_createDCtx()));
    expanded_.resize(size);
    const std::size_t made =
        ZSTD_decompress_usingDDict(expansion_.get(), expanded_.data(), expanded_.size(),
                                   frame.data(), frame.size(), dictionary);
    if (ZSTD_isError(made) || made != size) return {};
    return expanded_;
}

void Documents::UseNewest(Database& db) {
    auto row = db.Run(kNewestDictionary);
    newestKnown_ = true;
    if (!row.Next()) {
        compressor_.reset();
        return;
    }
    const long long id = row.Integer(0);
    if (compressor_ != nullptr && id == compressorId_) return;
    const std::string_view content = row.Document(1).bytes;
    compressor_.reset(Made(ZSTD_createCDict(content.data(), content.size(), kLevel)));
    compressorId_ = id;
}

StoredDocument Documents::Pack(Database& db, std::string_view text) {
    if (text.size() < kCompressFrom) return {text, false};
    ++unchecked_;
    if (!newestKnown_) UseNewest(db);
    if (compressor_ == nullptr) return {text, false};
    if (compression_ == nullptr) compression_.reset(Made(ZSTD_createCCtx()));
    packed_.resize(ZSTD_compressBound(text.size()));
    const std::size_t size =
        ZSTD_compress_usingCDict(compression_.get(), packed_.data(), packed_.size(), text.data(),
                                 text.size(), compressor_.get());
    if (ZSTD_isError(size) || size >= text.size()) return {text, false};
    return {std::string_view(packed_.data(), size), true};
}

void Documents::TrainIfDue(Database& db, bool endsTransaction) {
    if (unchecked_ == 0) return;
    if (!endsTransaction && unchecked_ < (compressor_ != nullptr ? kCheckWith : kCheckWithout)) {
        return;
    }
    unchecked_ = 0;
    try {
        auto due = db.Run(kTrainingDue);
        if (!due.Next()) return;
        const long long rows = due.Integer(0), trained = due.Integer(1);
        if (rows < std::max(kFirstTraining, kGrowth * trained)) return;
        Train(db, rows, trained == 0);
    } catch (const std::exception& failure) {
        // After some failures (a full disk, no memory) SQLite has rolled the transaction back:
        // the write under way must not go on as if its transaction were still there.
        if (!db.InTransaction()) throw;
        CSLogger::Log(CS_LOG_WARNING, "documents stay as they are stored: %s", failure.what());
    }
}

void Documents::Train(Database& db, long long rows, bool first) {
    std::string samples;
    std::vector<std::size_t> sizes;
    {
        auto newest = db.Run(kNewestDocuments);
        for (int row = 0; (sizes.size() < kSampleDocuments || samples.size() < kSampleBytes) &&
                          samples.size() < kSampleMost && row < kSampleRows && newest.Next();
             ++row) {
            const std::string_view text = Expand(db, newest.Document(0));
            if (text.size() < kCompressFrom) continue;
            samples += text;
            sizes.push_back(text.size());
        }
    }
    std::string dictionary(std::clamp(samples.size() / 8, kSmallestDictionary, kLargestDictionary),
                           '\0');
    const std::size_t size =
        ZDICT_trainFromBuffer(dictionary.data(), dictionary.size(), samples.data(), sizes.data(),
                              static_cast<unsigned>(sizes.size()));
    if (ZDICT_isError(size)) {
        // Too little to learn from: the next try waits for the store to grow as much again.
        db.Do(kNoteTraining, rows);
        return;
    }
    dictionary.resize(size);
    const long long id = ZDICT_getDictID(dictionary.data(), dictionary.size());
    db.Do(kStoreDictionary, id, rows, StoredDocument{dictionary, true});
    UseNewest(db);
    if (first) RepackTexts(db);
}

void Documents::RepackTexts(Database& db) {
    std::vector<std::pair<long long, std::string>> batch;
    long long after = 0;
    for (std::size_t text = 0; text < kRepackBytes;) {
        batch.clear();
        bool more = false;
        {
            auto rows = db.Run(kTextsAfter, after);
            while (rows.Next()) {
                more = true;
                after = rows.Integer(0);
                const std::string_view document = rows.Text(1);
                text += document.size();
                const StoredDocument packed = Pack(db, document);
                if (packed.compressed) batch.emplace_back(after, packed.bytes);
            }
        }
        for (const auto& [row, bytes] : batch) db.Do(kRepack, row, StoredDocument{bytes, true});
        if (!more) break;
    }
    unchecked_ = 0;
}

}  // namespace standin
