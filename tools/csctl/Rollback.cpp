#include "Rollback.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>
#include <unordered_map>

#include <Identities.h>

#include "Exchange.h"
#include "History.h"
#include "ResultRecord.h"

namespace csctl {
namespace {

// csctl's own records live in the store's own component, which exports and rollbacks leave out.
using standin::kResultComponent;
constexpr char kWaitingKey[] = "pending";
constexpr char kWaitingGroup[] = "confirm";

using standin::NowMilliseconds;

struct Waiting {
    std::string id;
    long long deadline;  // milliseconds since the epoch
};

// The changes waiting for confirmation (`id` only, unless empty), as the store holds them now.
std::vector<Waiting> WaitingChanges(const std::string& id = "") {
    const rapidjson::Document exported =
        Exported({kWaitingKey, kWaitingGroup, kResultComponent, id, {}});
    std::vector<Waiting> waiting;
    for (const auto& entry : exported["objects"].GetArray()) {
        const auto deadline = entry["values"].FindMember("deadline");
        if (!entry.HasMember("instanceId") || deadline == entry["values"].MemberEnd() ||
            !deadline->value.IsInt64()) {
            continue;
        }
        waiting.push_back({entry["instanceId"].GetString(), deadline->value.GetInt64()});
    }
    return waiting;
}

// The version of the commit that made the record of the change waiting as `id`; 0 where the
// history no longer holds it.
long long VersionOf(standin::HistoryReader& history, const std::string& id) {
    const standin::HistorySlot record{{kWaitingKey, kWaitingGroup, kResultComponent, id}, 0};
    return FromHistory([&] { return history.MadeIn(record); });
}

// Within the session's open transaction: makes each target's class hold its document, or
// nothing. Documents go in through one import (validated against today's schemas); a class
// that is to hold nothing goes with its whole identity, whose other durable classes are then
// imported again (the library removes classes only with their identity).
void WriteStates(Session& session, standin::HistoryReader& history,
                 const std::vector<standin::SlotDocument>& targets) {
    using Target = standin::SlotDocument;
    std::vector<std::vector<const Target*>> identities;
    std::unordered_map<std::string, std::size_t> index;  // by identity
    for (const Target& target : targets) {
        if (FromHistory([&] { return history.Present(target.slot); }) == target.document) {
            continue;
        }
        std::string name;
        standin::AppendIdentity(name, target.slot.id);
        const auto [known, added] = index.emplace(name, identities.size());
        if (added) identities.emplace_back();
        identities[known->second].push_back(&target);
    }
    rapidjson::Document document(rapidjson::kObjectType);
    auto& allocator = document.GetAllocator();
    document.AddMember("format", "configstore/1", allocator);
    rapidjson::Value objects(rapidjson::kArrayType);
    for (const std::vector<const Target*>& changed : identities) {
        const auto& id = changed.front()->slot.id;
        const bool removes = std::any_of(changed.begin(), changed.end(),
                                         [](const Target* target) { return !target->document; });
        for (const int dataClass : {0, 1, 2, 4}) {  // the durable classes
            const standin::HistorySlot slot{id, dataClass};
            const auto target = std::find_if(
                changed.begin(), changed.end(),
                [&](const Target* candidate) { return candidate->slot.dataClass == dataClass; });
            std::optional<std::string> kept;
            if (target != changed.end()) {
                kept = (*target)->document;
            } else if (removes) {
                kept = FromHistory([&] { return history.Present(slot); });
            }
            if (kept) objects.PushBack(EntryOf(slot, *kept, allocator), allocator);
        }
        if (!removes) continue;
        const char* instance = id.instanceId.empty() ? nullptr : id.instanceId.c_str();
        Check(Logged([&] {
                  return Delete(session.store(), id.key.c_str(), id.group.c_str(),
                                id.component.c_str(), instance);
              }),
              "cannot delete " + CommandWords(id.key, id.group, id.component, id.instanceId));
    }
    if (objects.Empty()) return;
    document.AddMember("objects", objects, allocator);
    ImportText(JsonText(document));
}

// Within a transaction: undoes the commit that made the record of the change waiting as `id`,
// the record with it, unless the change was confirmed meanwhile.
void UndoWaiting(Session& session, const std::string& id) {
    if (WaitingChanges(id).empty()) return;
    const auto history = OpenHistory(session);
    const long long version = VersionOf(*history, id);
    if (version == 0) {
        throw Failure{CS_C_NOT_FOUND,
                      "the change waiting as " + id +
                          " is no longer in the history and cannot be rolled back; "
                          "csctl confirm " +
                          id + " keeps it",
                      {}};
    }
    const auto commits = FromHistory([&] { return history->Commits(version, true); });
    WriteStates(session, *history, commits.front().changes);
}

void Expire(Session& session, const std::string& id) {
    session.Transaction(true, [&] { UndoWaiting(session, id); });
}

// Until no change waiting as `id` (empty: any) is left: sleeps to the earliest deadline, then
// undoes that change unless it was confirmed meanwhile.
void WatchWaiting(Session& session, const std::string& id) {
    for (std::vector<Waiting> waiting; !(waiting = WaitingChanges(id)).empty();) {
        const Waiting& next = *std::min_element(
            waiting.begin(), waiting.end(),
            [](const Waiting& a, const Waiting& b) { return a.deadline < b.deadline; });
        const long long left = next.deadline - NowMilliseconds();
        if (left > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(left));
            continue;  // confirmed meanwhile, perhaps
        }
        Expire(session, next.id);
    }
}

}  // namespace

void RunRollback(Session& session, long long version) {
    session.Transaction(true, [&] {
        const auto history = OpenHistory(session);
        CheckKept(*history, version);
        std::vector<standin::SlotDocument> targets =
            FromHistory([&] { return history->ChangedAfter(version); }).slots;
        targets.erase(std::remove_if(targets.begin(), targets.end(),
                                     [](const standin::SlotDocument& target) {
                                         return target.slot.id.component == kResultComponent;
                                     }),
                      targets.end());
        WriteStates(session, *history, targets);
    });
    session.output().Done();
}

void RunConfirm(Session& session, const std::string& id) {
    session.Transaction(true, [&] {
        const std::vector<Waiting> waiting = WaitingChanges(id);
        if (waiting.empty()) {
            throw Failure{CS_C_NOT_FOUND,
                          "no change waits for confirmation" + (id.empty() ? "" : " as " + id),
                          {}};
        }
        for (const Waiting& change : waiting) {
            Check(Logged([&] {
                      return Delete(session.store(), kWaitingKey, kWaitingGroup, kResultComponent,
                                    change.id.c_str());
                  }),
                  "cannot confirm " + change.id);
        }
    });
    session.output().Done();
}

void ExpirePassed(Session& session, Waiter* waiter) {
    std::vector<Waiting> waiting = WaitingChanges();
    if (waiting.empty()) return;
    const auto history = OpenHistory(session);
    std::unordered_map<std::string, long long> versions;
    for (const Waiting& change : waiting) versions[change.id] = VersionOf(*history, change.id);
    // Newest first: each undo then finds the store as the change it undoes left it.
    std::sort(waiting.begin(), waiting.end(),
              [&](const Waiting& a, const Waiting& b) { return versions[a.id] > versions[b.id]; });
    bool later = false;
    for (const Waiting& change : waiting) {
        if (change.deadline > NowMilliseconds()) {
            later = true;
            continue;
        }
        try {
            Expire(session, change.id);
        } catch (const Failure& failure) {
            // The boot goes on: the change stays waiting, and status shows it.
            std::fprintf(stderr, "csctl: apply: %s\n", failure.message.c_str());
        }
    }
    if (later && waiter != nullptr) waiter->Watch("");
}

void AddUnconfirmed(Session& session, rapidjson::Document& results) {
    const std::vector<Waiting> waiting = WaitingChanges();
    if (waiting.empty()) return;
    const auto history = OpenHistory(session);
    auto& allocator = results.GetAllocator();
    for (const Waiting& change : waiting) {
        rapidjson::Value entry(rapidjson::kObjectType);
        entry.AddMember("component", rapidjson::StringRef(kResultComponent), allocator);
        entry.AddMember("status", "unconfirmed", allocator);
        entry.AddMember("id", rapidjson::Value(change.id.c_str(), allocator), allocator);
        entry.AddMember(
            "deadline",
            rapidjson::Value(standin::UtcText(change.deadline / 1000).c_str(), allocator),
            allocator);
        // Past its deadline, the change waits for apply --pending or the boot run: its waiter
        // is gone.
        if (change.deadline <= NowMilliseconds()) entry.AddMember("overdue", true, allocator);
        const long long version = VersionOf(*history, change.id);
        if (version != 0) entry.AddMember("version", static_cast<int64_t>(version), allocator);
        results.PushBack(entry, allocator);
    }
}

std::string RecordConfirmation(Session& session, double seconds) {
    if (!OpenHistory(session)->Recording()) {
        throw Failure{CS_C_INVALID_ARGUMENT,
                      "--confirm needs the store's history, which "
                      "CONFIGSTORE_HISTORY_COMMITS or CONFIGSTORE_HISTORY_DAYS turns off",
                      {}};
    }
    char* raw = nullptr;
    const ConfigStoreCStatus made = Logged([&] { return GenerateInstanceId(&raw); });
    const Text id(raw);
    Check(made, "cannot make an id for the confirmation");
    const long long deadline = NowMilliseconds() + std::llround(seconds * 1000);
    const std::string until = standin::UtcText(deadline / 1000);
    rapidjson::Document values(rapidjson::kObjectType);
    values.AddMember("deadline", static_cast<int64_t>(deadline), values.GetAllocator());
    values.AddMember("until", rapidjson::StringRef(until.c_str()), values.GetAllocator());
    ConfigStoreObjectStruct* object = nullptr;
    Check(Logged([&] {
              return CreateObject(kWaitingKey, kWaitingGroup, kResultComponent, id.get(),
                                  JsonText(values).c_str(), &object);
          }),
          "cannot record the confirmation");
    const Object record(object);
    Check(Logged([&] { return Set(session.store(), record.get(), "INTERNAL"); }),
          "cannot record the confirmation");
    session.output().Unconfirmed(id.get(), until);
    return id.get();
}

Waiter::Waiter(const std::string& nameSpace) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Failure{
            CS_C_INTERNAL_ERROR, "cannot start the waiter: " + std::string(strerror(errno)), {}};
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        close(ends[0]);
        close(ends[1]);
        throw Failure{
            CS_C_INTERNAL_ERROR, "cannot start the waiter: " + std::string(strerror(errno)), {}};
    }
    if (child > 0) {
        close(ends[0]);
        pipe_ = ends[1];
        return;
    }
    // The waiter outlives csctl: a session of its own, and none of csctl's descriptors (a reader
    // of csctl's output would wait for it otherwise).
    close(ends[1]);
    setsid();
    const int null = open("/dev/null", O_RDWR);
    for (int descriptor = 0; descriptor < 3; ++descriptor) dup2(null, descriptor);
    std::string told;
    char buffer[128];
    for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) != 0;) {
        if (got > 0) told.append(buffer, static_cast<std::size_t>(got));
        if (got < 0 && errno != EINTR) break;
    }
    int status = 0;
    if (!told.empty()) {
        try {
            Output output(false);
            Session session(nameSpace, output);
            WatchWaiting(session, told.substr(1));
        } catch (...) {
            status = 1;  // the change stays waiting: the next boot run undoes it
        }
    }
    _exit(status);
}

Waiter::~Waiter() {
    if (pipe_ >= 0) close(pipe_);
}

void Waiter::Watch(const std::string& id) {
    // One write: "+" then the id, which the waiter reads to the end of the pipe.
    const std::string message = "+" + id;
    if (pipe_ < 0 ||
        write(pipe_, message.data(), message.size()) != static_cast<ssize_t>(message.size())) {
        throw Failure{CS_C_INTERNAL_ERROR,
                      "the change is committed but no waiter watches it: the next boot run "
                      "undoes it unless confirmed (csctl confirm)",
                      {}};
    }
    close(pipe_);
    pipe_ = -1;
}

}  // namespace csctl
