#include "Apply.h"

#include <kivconfigstore/CSLogger.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "ApplyModules.h"
#include "ObjectState.h"
#include "ResultRecord.h"

namespace standin {

using KivConfigStore::ConfigStoreObjectId;

namespace {

std::string Line(const ConfigStoreObjectId& id, const char* className) {
    JsonText text;
    JsonWriter writer(text);
    const auto member = [&](const char* name, const std::string& value) {
        writer.Key(name);
        writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    };
    writer.StartObject();
    member("key", id.key);
    member("group", id.group);
    member("component", id.component);
    if (!id.instanceId.empty()) member("instanceId", id.instanceId);
    member("class", className);
    writer.EndObject();
    return std::string(text.GetString(), text.GetSize()) + "\n";
}

void Record(const RecordWriter& record, const std::string& component, const std::string& stage,
            const ModuleOutcome& outcome, long long version) {
    Json document;
    MakeResultRecord(document, stage, outcome, version);
    auto object = std::make_shared<KivConfigStore::ConfigStoreObject>(
        ConfigStoreObjectId(kResultKey, kResultGroup, kResultComponent, component));
    KivConfigStore::EngineState::Of(*object).Adopt(document);
    record(object);
}

}  // namespace

bool LeftOutOfExport(const KivConfigStore::FilterSpecObject& filter,
                     const ConfigStoreObjectId& id) {
    return id.component == kResultComponent && filter.objectId.component != kResultComponent;
}

void RunApplyModules(const StoreFiles& files, const Changes& changes, const RecordWriter& record) {
    const std::string& database = files.database;
    try {
        const std::string directory = ApplyDirectory();
        struct stat status {};
        if (lstat(directory.c_str(), &status) != 0) return;
        // Each component's lines, each (identity, class) once, in the order first changed.
        std::map<std::string, std::string> input;
        std::set<std::string> seen;
        for (const Changes::Change& change : changes.List()) {
            const ConfigStoreObjectId id = changes.Id(change);
            if (IsResultRecord(id)) continue;
            std::string line = Line(id, change.className);
            if (seen.insert(line).second) input[id.component] += line;
        }
        // Stage by stage: every component's early modules run before any network module.
        std::map<std::string, std::pair<std::string, ModuleOutcome>> results;  // stage, outcome
        for (const std::string& stage : ApplyStages()) {
            for (const auto& [component, lines] : input) {
                std::optional<ModuleOutcome> outcome =
                    RunModule(directory, stage, component, lines, {files.nameSpace});
                if (!outcome) continue;
                if (outcome->code != 0) {
                    CSLogger::Log(CS_LOG_ERROR, "%s: %s", database.c_str(),
                                  LogLine(*outcome).c_str());
                    outcome->message = database + ": " + outcome->message;
                }
                // The record keeps the first failure, else the last stage that ran.
                const auto known = results.find(component);
                if (known == results.end()) {
                    results.emplace(component, std::make_pair(stage, std::move(*outcome)));
                } else if (known->second.second.code == 0) {
                    known->second = {stage, std::move(*outcome)};
                }
            }
        }
        for (const auto& [component, result] : results) {
            Record(record, component, result.first, result.second, changes.version);
        }
    } catch (const std::exception& e) {
        // The commit stands whatever happens here: what failed is logged.
        CSLogger::Log(CS_LOG_ERROR, "%s: apply modules: %s", database.c_str(), e.what());
    }
}

}  // namespace standin
