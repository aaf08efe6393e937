// What the integration suites share: owning handles, the test objects' identity, reading values
// and lists, log lines, and `store_child read`, the child process that reads what the store kept.
#pragma once

#include <stdlib.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "configstorec.h"

namespace integration {

constexpr char kGroup[] = "tests";
constexpr char kComponent[] = "integration";

using Store = std::unique_ptr<ConfigStoreStruct, decltype(&DestroyStore)>;
using Object = std::unique_ptr<ConfigStoreObjectStruct, decltype(&DestroyConfigStoreObject)>;
using Filter = std::unique_ptr<FilterSpecObjectStruct, decltype(&DestroyFilterSpecObject)>;

inline Store Open(const std::string& nameSpace) {
    ConfigStoreStruct* store = nullptr;
    EXPECT_EQ(GetStore(nameSpace.c_str(), &store), CS_C_OK) << nameSpace;
    return Store(store, DestroyStore);
}

inline Object Make(const std::string& key, const char* instance, const char* document,
                   const char* group = kGroup, const char* component = kComponent) {
    ConfigStoreObjectStruct* object = nullptr;
    EXPECT_EQ(CreateObject(key.c_str(), group, component, instance, document, &object), CS_C_OK)
        << key;
    return Object(object, DestroyConfigStoreObject);
}

inline Filter MakeFilter(const char* key, const char* group, const char* component,
                         const char* instance = nullptr) {
    FilterSpecObjectStruct* filter = nullptr;
    EXPECT_EQ(CreateFilterSpecObject(key, group, component, instance, &filter), CS_C_OK);
    return Filter(filter, DestroyFilterSpecObject);
}

// An int value as `store_child read` prints it: "1500", "1500 default", "absent" or "status N".
inline std::string IntOf(ConfigStoreObjectStruct* object, const char* name) {
    int value = 0;
    const int status = GetValueInt(object, name, &value);
    if (status == CS_C_NOT_FOUND) return "absent";
    if (status == CS_C_OK) return std::to_string(value);
    if (status == CS_C_VALUE_IS_DEFAULT) return std::to_string(value) + " default";
    return "status " + std::to_string(status);
}

// "key/instance" of each object of a list, with its int value `name` if given ("key/:1500"),
// then the list released as its owner must: each handle, then the array.
inline std::string Listed(ConfigStoreObjectStruct** objects, int count, const char* name = "") {
    std::string text;
    for (int i = 0; i < count; ++i) {
        char *key = nullptr, *component = nullptr, *group = nullptr, *instance = nullptr;
        EXPECT_EQ(GetConfigStoreObjectId(objects[i], &key, &component, &group, &instance), CS_C_OK);
        text += (i > 0 ? " " : "") + std::string(key) + "/" + (instance ? instance : "");
        if (*name != '\0') text += ":" + IntOf(objects[i], name);
        for (char* field : {key, component, group, instance}) free(field);
        DestroyConfigStoreObject(objects[i]);
    }
    free(objects);
    return text;
}

// Runs `call`, expecting `status` and, unless `line` is empty, `line` in the log. The library's
// last error is then the last line logged, without the engine's prefix: empty after a success.
inline void ExpectLogged(const std::function<int()>& call, int status, const std::string& line) {
    ::testing::internal::CaptureStderr();
    const int actual = call();
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(actual, status) << log;
    EXPECT_TRUE(line.empty() || log.find(line) != std::string::npos) << log;
    std::string last = log.substr(0, log.find_last_not_of('\n') + 1);
    last = last.substr(last.rfind('\n') + 1);
    if (last.rfind("configstore: ", 0) == 0) last.erase(0, std::strlen("configstore: "));
    EXPECT_EQ(ConfigStoreCLastError(), actual == CS_C_OK ? "" : last) << log;
}

// The int values `names` of one object ("key" or "key/instance"), as `store_child read` prints them
// when run (through the emulator when cross-compiled) as a new process with this one's environment;
// "exit N" ends its output when it did not end with CS_C_OK.
inline std::string ReadBack(const std::string& nameSpace, const std::string& key,
                            const std::string& names = "", const std::string& group = kGroup,
                            const std::string& component = kComponent) {
    const std::string command = std::string(READ_BACK_COMMAND) + " " + nameSpace + " " + key + " " +
                                group + " " + component + " " + names;
    FILE* child = popen(command.c_str(), "r");
    if (child == nullptr) return "cannot start " + command;
    std::string text;
    for (int c; (c = std::fgetc(child)) != EOF;) text += static_cast<char>(c);
    const int status = pclose(child);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return code == 0 ? text : text + "exit " + std::to_string(code) + "\n";
}

}  // namespace integration
