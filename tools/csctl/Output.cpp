#include "Output.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>

#include "ControlEscapes.h"

namespace csctl {

std::string JsonText(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize());
}

namespace {

// A word the shell reads back as `text`: bare when it holds only characters the shell takes as
// they are; quoted otherwise, with $'...' and escapes when it holds control characters, so that
// it stays on its line.
std::string ShellWord(const std::string& text) {
    static const std::string kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.,:/@%+=";
    if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
    if (!escapes::HasControls(text)) {
        std::string quoted = "'";
        for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return quoted + "'";
    }
    std::string quoted = "$'";
    for (const char c : text) {
        char escape[5];
        if (c == '\\' || c == '\'') quoted += '\\';
        quoted.append(escape, escapes::EscapeOf(static_cast<unsigned char>(c), escape));
    }
    return quoted + "'";
}

}  // namespace

std::string CommandWords(const std::string& key, const std::string& group,
                         const std::string& component, const std::string& instance) {
    std::string words = ShellWord(key) + " " + ShellWord(group) + " " + ShellWord(component);
    if (!instance.empty()) words += " --instance " + ShellWord(instance);
    return words;
}

namespace {

// Strings bare, everything else as JSON: names, and values for scripts. Values for people are
// JSON, so that a string reads apart from a number.
std::string Text(const rapidjson::Value& value) {
    if (value.IsString()) return std::string(value.GetString(), value.GetStringLength());
    return JsonText(value);
}

std::string IdentityText(const rapidjson::Value& identity) {
    const auto field = [&](const char* name) {
        return identity.HasMember(name) ? Text(identity[name]) : std::string();
    };
    std::string words =
        CommandWords(field("key"), field("group"), field("component"), field("instanceId"));
    if (identity.HasMember("sub")) words += " --sub " + ShellWord(field("sub"));
    return words;
}

// The option that names a class, as csctl names it (the exchange name without "Data"); nothing
// for the configuration.
std::string ClassOption(const rapidjson::Value& exchangeName) {
    const std::string name = Text(exchangeName);
    return name == "configuration" ? "" : " --class " + name.substr(0, name.find("Data"));
}

}  // namespace

void Output::Values(const rapidjson::Value& values, const std::vector<std::string>& defaults) {
    if (json_) {
        rapidjson::Document answer(rapidjson::kObjectType);
        auto& allocator = answer.GetAllocator();
        rapidjson::Value keys(rapidjson::kArrayType);
        for (const std::string& key : defaults) {
            keys.PushBack(rapidjson::Value(key.c_str(), allocator), allocator);
        }
        answer.AddMember("values", rapidjson::Value(values, allocator), allocator);
        answer.AddMember("defaults", keys, allocator);
        Json(answer);
        return;
    }
    for (const auto& member : values.GetObject()) {
        const std::string key = member.name.GetString();
        bool fromDefaults = false;
        for (const std::string& name : defaults) fromDefaults = fromDefaults || name == key;
        Line(key + " = " + JsonText(member.value) + (fromDefaults ? " (default)" : ""));
    }
}

void Output::Bare(const rapidjson::Value& values) {
    for (const auto& member : values.GetObject()) {
        if (!member.value.IsArray()) {
            Write(Text(member.value));
            continue;
        }
        for (const auto& element : member.value.GetArray()) Write(Text(element));
    }
}

void Output::Object(const rapidjson::Value& object) {
    if (json_) return Json(object);
    Line(IdentityText(object["identity"]) + " (version " + Text(object["version"]) + ")");
    for (const auto& dataClass : object["classes"].GetObject()) {
        Line(std::string(dataClass.name.GetString()) + ":");
        for (const auto& member : dataClass.value.GetObject()) {
            Line("  " + std::string(member.name.GetString()) + " = " + JsonText(member.value));
        }
    }
}

void Output::Identities(const rapidjson::Value& identities) {
    if (json_) return Json(identities);
    for (const auto& identity : identities.GetArray()) Line(IdentityText(identity));
}

void Output::Differences(const rapidjson::Value& differences, const char* first,
                         const char* second) {
    if (json_) return Json(differences);
    for (const auto& difference : differences.GetArray()) {
        const std::string words = IdentityText(difference) + ClassOption(difference["class"]);
        const std::string value = Text(difference["value"]);
        for (const auto& [mark, side] : {std::pair{"- ", first}, std::pair{"+ ", second}}) {
            if (!difference.HasMember(side)) continue;
            Line(mark + words + " " + ShellWord(value + "=" + JsonText(difference[side])));
        }
    }
}

void Output::Commits(const rapidjson::Value& commits) {
    if (json_) return Json(commits);
    for (const auto& commit : commits.GetArray()) {
        Line("version " + Text(commit["version"]) + "  " + Text(commit["time"]) + "  uid " +
             Text(commit["uid"]) + "  pid " + Text(commit["pid"]) + " (" + Text(commit["program"]) +
             ")  " + Text(commit["context"]));
        for (const auto& change : commit["changes"].GetArray()) {
            Line("    " + IdentityText(change) + ClassOption(change["class"]));
        }
    }
}

void Output::Change(const rapidjson::Value& change) {
    if (json_) return Json(change);
    Line(IdentityText(change) + ClassOption(change["class"]) + ": " +
         (change.HasMember("deleted") ? std::string("deleted") : JsonText(change["values"])));
}

void Output::Document(const std::string& text) {
    Write(text);
}

void Output::InstanceId(const std::string& id) {
    if (!json_) return Line(id);
    rapidjson::Document answer(rapidjson::kObjectType);
    answer.AddMember("instanceId", rapidjson::Value(id.c_str(), answer.GetAllocator()),
                     answer.GetAllocator());
    Json(answer);
}

void Output::Checked(const std::string& nameSpace) {
    if (!json_) return Line(nameSpace + ": ok, every page checked");
    rapidjson::Document answer(rapidjson::kObjectType);
    auto& allocator = answer.GetAllocator();
    answer.AddMember("namespace", rapidjson::Value(nameSpace.c_str(), allocator), allocator);
    answer.AddMember("ok", true, allocator);
    Json(answer);
}

void Output::Results(const rapidjson::Value& results) {
    if (json_) return Json(results);
    for (const auto& result : results.GetArray()) {
        std::string line = Text(result["component"]) + ": " + Text(result["status"]);
        if (result.HasMember("id")) {
            line += " (" +
                    (result.HasMember("version") ? "version " + Text(result["version"]) + ", "
                                                 : std::string()) +
                    (result.HasMember("overdue")
                         ? "overdue since " + Text(result["deadline"]) +
                               ": csctl apply --pending rolls it back)"
                         : "rolled back at " + Text(result["deadline"]) +
                               " unless confirmed: csctl confirm " + Text(result["id"]) + ")");
        } else if (result.HasMember("stage")) {
            line += " (" + Text(result["stage"]) + ", " + Text(result["at"]) + ")";
            if (result["message"].GetStringLength() > 0) line += ": " + Text(result["message"]);
        }
        if (result.HasMember("pending")) {
            line += (result.HasMember("stage") ? "; " : " (") +
                    std::string("modules due for version ") + Text(result["pending"]) +
                    (result.HasMember("stage") ? "" : ")");
        }
        Line(line);
    }
}

void Output::ResultsBeforeFailure(const rapidjson::Value& results) {
    if (!json_) return Results(results);
    failureResults_.CopyFrom(results, failureResults_.GetAllocator());
}

void Output::Done() {
    if (!json_) {
        if (!unconfirmed_.IsNull()) {
            Line("rolled back at " + Text(unconfirmed_["deadline"]) +
                 " unless confirmed: csctl confirm " + Text(unconfirmed_["id"]));
        }
        return;
    }
    rapidjson::Document answer(rapidjson::kObjectType);
    answer.AddMember("ok", true, answer.GetAllocator());
    if (!unconfirmed_.IsNull()) {
        answer.AddMember("unconfirmed", rapidjson::Value(unconfirmed_, answer.GetAllocator()),
                         answer.GetAllocator());
    }
    Json(answer);
}

void Output::Unconfirmed(const std::string& id, const std::string& deadline) {
    unconfirmed_.SetObject();
    auto& allocator = unconfirmed_.GetAllocator();
    unconfirmed_.AddMember("id", rapidjson::Value(id.c_str(), allocator), allocator);
    unconfirmed_.AddMember("deadline", rapidjson::Value(deadline.c_str(), allocator), allocator);
}

void Output::Error(const Failure& failure) {
    if (!json_) {
        if (!failure.printed) {
            std::fprintf(stderr, "csctl: %s\n", escapes::Escaped(failure.message).c_str());
        }
        for (const auto& [key, message] : failure.entries) {
            std::fprintf(stderr, "csctl: %s: %s\n", escapes::Escaped(key).c_str(),
                         escapes::Escaped(message).c_str());
        }
        return;
    }
    rapidjson::Document answer(rapidjson::kObjectType);
    auto& allocator = answer.GetAllocator();
    rapidjson::Value error(rapidjson::kObjectType);
    error.AddMember("code", failure.status, allocator);
    error.AddMember("name", rapidjson::StringRef(StatusName(failure.status)), allocator);
    error.AddMember("message", rapidjson::Value(failure.message.c_str(), allocator), allocator);
    if (failure.engineCode != 0) error.AddMember("engineCode", failure.engineCode, allocator);
    if (!failureResults_.IsNull()) {
        error.AddMember("results", rapidjson::Value(failureResults_, allocator), allocator);
    }
    if (!failure.entries.empty()) {
        rapidjson::Value entries(rapidjson::kArrayType);
        for (const auto& [key, message] : failure.entries) {
            rapidjson::Value entry(rapidjson::kObjectType);
            entry.AddMember("key", rapidjson::Value(key.c_str(), allocator), allocator);
            entry.AddMember("message", rapidjson::Value(message.c_str(), allocator), allocator);
            entries.PushBack(entry, allocator);
        }
        error.AddMember("entries", entries, allocator);
    }
    answer.AddMember("error", error, allocator);
    Json(answer);
}

bool Output::Flush() {
    return std::fflush(stdout) == 0 && !std::ferror(stdout);
}

void Output::Json(const rapidjson::Value& value) {
    Write(JsonText(value));
}

// A line of text for people is one line: the control characters of values and names are escaped.
void Output::Line(const std::string& text) {
    Write(escapes::Escaped(text));
}

// JSON, whose strings hold no control character, goes out as it is.
void Output::Write(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

}  // namespace csctl
