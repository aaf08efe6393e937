#include "History.h"

#include <Errors.h>

#include <algorithm>

#include "Exchange.h"
#include "ResultRecord.h"

namespace csctl {
namespace {

const char* ClassNameOf(const standin::HistorySlot& slot) {
    return standin::NameOf(static_cast<standin::DataClass>(slot.dataClass));
}

bool Selects(const Identity& pattern, const KivConfigStore::ConfigStoreObjectId& id) {
    const std::pair<const std::string*, const std::string*> fields[] = {
        {&pattern.key, &id.key},
        {&pattern.group, &id.group},
        {&pattern.component, &id.component},
        {&pattern.instance, &id.instanceId}};
    for (const auto& [wanted, actual] : fields) {
        if (!wanted->empty() && *wanted != *actual) return false;
    }
    return true;
}

rapidjson::Value SlotJson(const standin::HistorySlot& slot,
                          rapidjson::Document::AllocatorType& allocator) {
    const KivConfigStore::ConfigStoreObjectId& id = slot.id;
    rapidjson::Value json =
        IdentityJson({id.key, id.group, id.component, id.instanceId, {}}, allocator);
    json.AddMember("class", rapidjson::StringRef(ClassNameOf(slot)), allocator);
    return json;
}

// The differences of one slot between two of its documents (none: it held nothing).
void AddSlotDifferences(const standin::HistorySlot& slot, const std::optional<std::string>& from,
                        const std::optional<std::string>& to, rapidjson::Document& differences) {
    rapidjson::Document sides;
    const rapidjson::Value before =
        from ? EntryOf(slot, *from, sides.GetAllocator()) : rapidjson::Value();
    const rapidjson::Value after =
        to ? EntryOf(slot, *to, sides.GetAllocator()) : rapidjson::Value();
    if (before.IsNull() && after.IsNull()) return;
    AddDifferences(before.IsNull() ? nullptr : &before, after.IsNull() ? nullptr : &after,
                   differences, "before", "after");
}

// What `slot` held at the version of `changed`: unchanged since, what it holds now.
std::optional<std::string> At(standin::HistoryReader& history, const standin::SlotsChanged& changed,
                              const standin::HistorySlot& slot) {
    if (const standin::SlotDocument* then = changed.Find(slot)) return then->document;
    return FromHistory([&] { return history.Present(slot); });
}

}  // namespace

std::unique_ptr<standin::HistoryReader> OpenHistory(Session& session) {
    session.store();
    return FromHistory(
        [&] { return std::make_unique<standin::HistoryReader>(session.nameSpace()); });
}

void CheckKept(standin::HistoryReader& history, long long version) {
    const long long latest = FromHistory([&] { return history.Version(); });
    if (version > latest) {
        throw Failure{CS_C_NOT_FOUND,
                      "no version " + std::to_string(version) + ": the store is at version " +
                          std::to_string(latest),
                      {}};
    }
    const long long kept = FromHistory([&] { return history.KeptAfter(); });
    if (version < kept) {
        throw Failure{CS_C_NOT_FOUND,
                      "the history before version " + std::to_string(kept) +
                          " is no longer kept (CONFIGSTORE_HISTORY_COMMITS, "
                          "CONFIGSTORE_HISTORY_DAYS): version " +
                          std::to_string(version) + " cannot be read back",
                      {}};
    }
}

bool IsVersion(const std::string& text) {
    return !text.empty() && text.size() <= 18 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

long long ParseVersion(const std::string& text) {
    if (!IsVersion(text)) throw Failure{kUsage, "'" + text + "' is no version number", {}};
    return std::stoll(text);
}

rapidjson::Value EntryOf(const standin::HistorySlot& slot, const std::string& document,
                         rapidjson::Document::AllocatorType& allocator) {
    rapidjson::Value entry = SlotJson(slot, allocator);
    rapidjson::Document values(&allocator);
    values.Parse(document.c_str(), document.size());
    if (values.HasParseError() || !values.IsObject()) {
        throw Failure{CS_C_STORE_ERROR, "the history holds a damaged document", {}};
    }
    entry.AddMember("values", rapidjson::Value(values, allocator), allocator);
    return entry;
}

void RunLog(Session& session, const Identity& pattern) {
    const auto history = OpenHistory(session);
    const auto commits = FromHistory([&] { return history->Commits(); });
    rapidjson::Document json(rapidjson::kArrayType);
    auto& allocator = json.GetAllocator();
    for (const standin::HistoryCommit& commit : commits) {
        rapidjson::Value changes(rapidjson::kArrayType);
        for (const auto& change : commit.changes) {
            if (Selects(pattern, change.slot.id)) {
                changes.PushBack(SlotJson(change.slot, allocator), allocator);
            }
        }
        if (changes.Empty()) continue;
        rapidjson::Value entry(rapidjson::kObjectType);
        entry.AddMember("version", static_cast<int64_t>(commit.version), allocator);
        entry.AddMember("time",
                        rapidjson::Value(standin::UtcText(commit.time / 1000).c_str(), allocator),
                        allocator);
        entry.AddMember("uid", static_cast<int64_t>(commit.uid), allocator);
        entry.AddMember("pid", static_cast<int64_t>(commit.pid), allocator);
        entry.AddMember("program", rapidjson::Value(commit.program.c_str(), allocator), allocator);
        entry.AddMember("context", rapidjson::Value(commit.context.c_str(), allocator), allocator);
        entry.AddMember("changes", changes, allocator);
        json.PushBack(entry, allocator);
    }
    session.output().Commits(json);
}

void RunShow(Session& session, long long version) {
    const auto history = OpenHistory(session);
    CheckKept(*history, version);
    const auto commits = FromHistory([&] { return history->Commits(version, true); });
    if (commits.empty()) {
        throw Failure{
            CS_C_NOT_FOUND, "version " + std::to_string(version) + " changed nothing", {}};
    }
    // What the commit made of each slot: what it held after the commit.
    const standin::SlotsChanged after = FromHistory([&] { return history->ChangedAfter(version); });
    rapidjson::Document differences(rapidjson::kArrayType);
    for (const standin::SlotDocument& change : commits.front().changes) {
        AddSlotDifferences(change.slot, change.document, At(*history, after, change.slot),
                           differences);
    }
    session.output().Differences(differences, "before", "after");
}

bool RunVersionDiff(Session& session, long long from, std::optional<long long> to) {
    const auto history = OpenHistory(session);
    CheckKept(*history, from);
    if (to) CheckKept(*history, *to);
    const auto changedAfter = [&](long long version) {
        return FromHistory([&] { return history->ChangedAfter(version); });
    };
    const standin::SlotsChanged earlier = changedAfter(to ? std::min(from, *to) : from);
    // Now, the later side is what the store holds: no commit after it changed anything.
    const standin::SlotsChanged later =
        to ? changedAfter(std::max(from, *to)) : standin::SlotsChanged();
    const bool backwards = to && *to < from;
    rapidjson::Document differences(rapidjson::kArrayType);
    // Every slot that differs between the versions changed after the earlier one.
    for (const standin::SlotDocument& state : earlier.slots) {
        std::optional<std::string> first = state.document;
        std::optional<std::string> second = At(*history, later, state.slot);
        if (backwards) std::swap(first, second);
        AddSlotDifferences(state.slot, first, second, differences);
    }
    session.output().Differences(differences, "before", "after");
    return !differences.Empty();
}

}  // namespace csctl
