// The result record: what a component's last apply module run left in the store, as cached data
// of apply/results/configstore/<component> so that it describes this boot only. The engine
// records the runs after a commit, csctl the runs it starts, both with this one definition.
#pragma once

#include <rapidjson/document.h>

#include <ctime>
#include <string>

#include "ApplyModules.h"

namespace standin {

constexpr char kResultKey[] = "apply";
constexpr char kResultGroup[] = "results";
constexpr char kResultComponent[] = "configstore";

// The time now in UTC, e.g. "2026-01-31T12:00:00Z".
std::string UtcNow();
// A time in UTC, as UtcNow writes it.
std::string UtcText(std::time_t time);

// Makes `record` the record of a run: its stage, status ("ok" or "failed"), code, message,
// exitValue (when the module exited), output, "at", the time it is made, and "version", the
// store's version the run applied (left out when 0: none known). Apply work due up to that
// version is done. A template, since the engine's documents have an allocator of their own.
template <typename Document>
void MakeResultRecord(Document& record, const std::string& stage, const ModuleOutcome& outcome,
                      long long version) {
    auto& allocator = record.GetAllocator();
    const auto text = [&](const std::string& value) {
        return typename Document::ValueType(
            value.data(), static_cast<rapidjson::SizeType>(value.size()), allocator);
    };
    record.SetObject();
    record.AddMember("stage", text(stage), allocator);
    record.AddMember("status", text(outcome.code == 0 ? "ok" : "failed"), allocator);
    record.AddMember("code", outcome.code, allocator);
    record.AddMember("message", text(outcome.message), allocator);
    if (outcome.exitValue) record.AddMember("exitValue", *outcome.exitValue, allocator);
    record.AddMember("output", text(outcome.output), allocator);
    record.AddMember("at", text(UtcNow()), allocator);
    if (version != 0) record.AddMember("version", static_cast<int64_t>(version), allocator);
}

}  // namespace standin
