#include "Apply.h"

#include <signal.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <set>

#include "ApplyModules.h"
#include "ControlEscapes.h"
#include "History.h"
#include "ResultRecord.h"
#include "Rollback.h"

namespace csctl {
namespace {

using standin::kResultComponent;
using standin::kResultGroup;
using standin::kResultKey;

std::string Member(const rapidjson::Value& entry, const char* name) {
    return entry.HasMember(name) ? entry[name].GetString() : "";
}

// One input line per stored (identity, class), grouped by component.
std::map<std::string, std::string> InputLines(const rapidjson::Document& exported) {
    std::map<std::string, std::string> lines;
    for (const auto& entry : exported["objects"].GetArray()) {
        rapidjson::Document line(rapidjson::kObjectType);
        auto& allocator = line.GetAllocator();
        for (const char* name : {"key", "group", "component", "instanceId"}) {
            if (entry.HasMember(name)) {
                line.AddMember(rapidjson::StringRef(name), rapidjson::Value(entry[name], allocator),
                               allocator);
            }
        }
        const std::string dataClass =
            entry.HasMember("class") ? Member(entry, "class") : "configuration";
        line.AddMember("class", rapidjson::Value(dataClass.c_str(), allocator), allocator);
        lines[Member(entry, "component")] += JsonText(line) + "\n";
    }
    return lines;
}

struct Result {
    std::string component;
    standin::ModuleOutcome run;
    rapidjson::Document record;  // made when the run ended
};

void Record(ConfigStoreStruct* store, const Result& result) {
    ConfigStoreObjectStruct* raw = nullptr;
    Check(Logged([&] {
              return CreateObject(kResultKey, kResultGroup, kResultComponent,
                                  result.component.c_str(), JsonText(result.record).c_str(), &raw);
          }),
          "cannot create the result of " + result.component);
    const Object object(raw);
    Check(Logged([&] { return SetCachedData(store, object.get()); }),
          "cannot store the result of " + result.component);
}

// A result as apply and status print it: the component, then the record's members.
rapidjson::Value ResultJson(const std::string& component, const rapidjson::Value& record,
                            rapidjson::Document::AllocatorType& allocator) {
    rapidjson::Value json(rapidjson::kObjectType);
    json.AddMember("component", rapidjson::Value(component.c_str(), allocator), allocator);
    for (const auto& member : record.GetObject()) {
        json.AddMember(rapidjson::Value(member.name, allocator),
                       rapidjson::Value(member.value, allocator), allocator);
    }
    return json;
}

// Sets or clears the boot status of every stored identity but csctl's own results.
void SetBootStatusOfAll(const rapidjson::Document& exported, bool status) {
    std::set<std::vector<std::string>> identities;
    for (const auto& entry : exported["objects"].GetArray()) {
        if (Member(entry, "component") == kResultComponent) continue;
        identities.insert({Member(entry, "key"), Member(entry, "group"), Member(entry, "component"),
                           Member(entry, "instanceId")});
    }
    for (const auto& id : identities) {
        const char* instance = id[3].empty() ? nullptr : id[3].c_str();
        Check(Logged([&] {
                  return SetBootStatus(id[0].c_str(), id[1].c_str(), id[2].c_str(), instance,
                                       status);
              }),
              "cannot set the boot status of " + id[2] + "/" + id[1] + "/" + id[0]);
    }
}

// The signal that stopped a boot run: SIGINT, SIGTERM or SIGHUP.
volatile std::sig_atomic_t tStopSignal = 0;

// While a boot run holds the boot status, these signals stop it: the running module is killed,
// the boot status cleared, and then csctl ends by the signal.
class StopSignals {
public:
    StopSignals() {
        struct sigaction action {};
        action.sa_handler = [](int signal) { tStopSignal = signal; };
        sigemptyset(&action.sa_mask);
        for (std::size_t i = 0; i < kCount; ++i) sigaction(kSignals[i], &action, &previous_[i]);
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;
    ~StopSignals() {
        for (std::size_t i = 0; i < kCount; ++i) sigaction(kSignals[i], &previous_[i], nullptr);
    }
    // Ends csctl by the signal that came, if one did, as it would have without the handler.
    void EndIfStopped() {
        const int signal = tStopSignal;
        if (signal == 0) return;
        std::fflush(nullptr);
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
    static constexpr std::size_t kCount = sizeof kSignals / sizeof kSignals[0];
    struct sigaction previous_[kCount];
};

// Components whose modules commits left due: component -> the latest version due.
using DueWork = std::map<std::string, long long>;

long long VersionDue(const DueWork& due, const std::string& component) {
    const auto found = due.find(component);
    return found == due.end() ? 0 : found->second;
}

// The components whose modules have work due that no recorded run did, of `withModule`.
std::vector<std::string> PendingOf(const DueWork& due, const rapidjson::Document& results,
                                   const std::vector<std::string>& withModule) {
    std::map<std::string, long long> done;
    for (const auto& entry : results["objects"].GetArray()) {
        const auto version = entry["values"].FindMember("version");
        done[Member(entry, "instanceId")] =
            version != entry["values"].MemberEnd() && version->value.IsInt64()
                ? version->value.GetInt64()
                : 0;
    }
    std::vector<std::string> pending;
    for (const auto& [component, version] : due) {
        if (std::binary_search(withModule.begin(), withModule.end(), component) &&
            done[component] < version) {
            pending.push_back(component);
        }
    }
    return pending;
}

rapidjson::Document RecordedResults() {
    return Exported({kResultKey, kResultGroup, kResultComponent, "", {}});
}

// Runs the components' modules stage by stage until `stop` is set; each component's result is
// its first failure, else its last stage, recorded as doing the work due for its component.
std::vector<Result> RunModules(const std::vector<std::string>& components,
                               const rapidjson::Document& exported,
                               const standin::ModuleContext& context, const DueWork& due) {
    const std::string applyDir = standin::ApplyDirectory();
    const std::map<std::string, std::string> input = InputLines(exported);
    std::map<std::string, Result> results;
    for (const std::string& stage : standin::ApplyStages()) {
        for (const std::string& component : components) {
            if (context.stop != nullptr && *context.stop != 0) break;
            const auto lines = input.find(component);
            const std::optional<standin::ModuleOutcome> run = standin::RunModule(
                applyDir, stage, component, lines == input.end() ? "" : lines->second, context);
            if (!run) continue;
            if (run->code != 0) {
                std::fprintf(stderr, "csctl: apply: %s\n",
                             escapes::Escaped(standin::LogLine(*run)).c_str());
            }
            auto known = results.find(component);
            if (known == results.end() || known->second.run.code == 0) {
                Result& result = results[component];
                result = Result{component, *run, {}};
                standin::MakeResultRecord(result.record, stage, *run, VersionDue(due, component));
            }
        }
    }
    std::vector<Result> ordered;
    for (auto& [component, result] : results) ordered.push_back(std::move(result));
    return ordered;
}

}  // namespace

void RunApply(Session& session, const std::vector<std::string>& components, ApplyRun run,
              Waiter* waiter) {
    const std::string applyDir = standin::ApplyDirectory();
    const std::vector<std::string> withModule = standin::ModuleComponents(applyDir);
    for (const std::string& component : components) {
        if (std::find(withModule.begin(), withModule.end(), component) == withModule.end()) {
            throw Failure{
                CS_C_NOT_FOUND, "no apply module for " + component + " in " + applyDir, {}};
        }
    }
    ConfigStoreStruct* store = session.store();
    if (run != ApplyRun::Named) ExpirePassed(session, waiter);
    // Read before the store's objects: a commit in between leaves its own work due.
    const DueWork due = FromHistory([&] { return OpenHistory(session)->DueWork(); });
    const rapidjson::Document exported = Exported({});
    std::vector<Result> results;
    if (run == ApplyRun::Boot) {
        StopSignals stopSignals;
        SetBootStatusOfAll(exported, true);
        try {
            results =
                RunModules(withModule, exported, {session.nameSpace(), true, &tStopSignal}, due);
        } catch (...) {
            SetBootStatusOfAll(exported, false);
            throw;
        }
        SetBootStatusOfAll(exported, false);
        stopSignals.EndIfStopped();
    } else {
        const std::vector<std::string> chosen = run == ApplyRun::Pending
                                                    ? PendingOf(due, RecordedResults(), withModule)
                                                : components.empty() ? withModule
                                                                     : components;
        if (!chosen.empty()) {
            results = RunModules(chosen, exported, {session.nameSpace(), false, nullptr}, due);
        }
    }
    for (const Result& result : results) Record(store, result);

    rapidjson::Document json(rapidjson::kArrayType);
    for (const Result& result : results) {
        json.PushBack(ResultJson(result.component, result.record, json.GetAllocator()),
                      json.GetAllocator());
    }
    // Every module's result is shown, also beside a failed one (with --json, in the error).
    for (const Result& result : results) {
        if (result.run.code != 0) {
            Failure failure{kModuleFailed, result.component + ": " + result.run.message, {}, true};
            failure.engineCode = result.run.code;
            session.output().ResultsBeforeFailure(json);
            throw failure;
        }
    }
    session.output().Results(json);
}

void RunStatus(Session& session, const std::vector<std::string>& components) {
    session.store();
    const DueWork due = FromHistory([&] { return OpenHistory(session)->DueWork(); });
    const rapidjson::Document recorded = RecordedResults();
    const std::vector<std::string> pending =
        PendingOf(due, recorded, standin::ModuleComponents(standin::ApplyDirectory()));
    const auto isPending = [&](const std::string& component) {
        return std::find(pending.begin(), pending.end(), component) != pending.end();
    };
    const auto named = [&](const std::string& component) {
        return components.empty() ||
               std::find(components.begin(), components.end(), component) != components.end();
    };
    rapidjson::Document json(rapidjson::kArrayType);
    auto& allocator = json.GetAllocator();
    std::vector<std::string> unseen = components;
    const auto seen = [&](const std::string& component) {  // named and found
        unseen.erase(std::remove(unseen.begin(), unseen.end(), component), unseen.end());
    };
    for (const auto& entry : recorded["objects"].GetArray()) {
        const std::string component = Member(entry, "instanceId");
        if (!named(component)) continue;
        seen(component);
        rapidjson::Value result = ResultJson(component, entry["values"], allocator);
        if (isPending(component))
            result.AddMember("pending", static_cast<int64_t>(due.at(component)), allocator);
        json.PushBack(result, allocator);
    }
    for (const std::string& component : pending) {
        // Work due without a result: the component's modules never ran since this boot.
        if (!named(component) || std::any_of(json.Begin(), json.End(), [&](const auto& result) {
                return component == result["component"].GetString();
            })) {
            continue;
        }
        seen(component);
        rapidjson::Value work(rapidjson::kObjectType);
        work.AddMember("component", rapidjson::Value(component.c_str(), allocator), allocator);
        work.AddMember("status", "pending", allocator);
        work.AddMember("pending", static_cast<int64_t>(due.at(component)), allocator);
        json.PushBack(work, allocator);
    }
    // A component named without a result is not found, as apply answers for one without a module.
    if (!unseen.empty()) throw Failure{CS_C_NOT_FOUND, "no apply result for " + unseen.front(), {}};
    if (components.empty()) AddUnconfirmed(session, json);
    session.output().Results(json);
}

}  // namespace csctl
