// placeholder until the schemas file lands
#pragma once
#include <memory>
#include <string>
#include "Json.h"
namespace standin {
constexpr char kSubObjectsMember[] = "$subObjects";
struct Schema {
    std::string file;
    std::string version;
    bool singleton = true;
    Json defaults{rapidjson::kObjectType};
};
std::string ComponentsDirectory();
std::shared_ptr<const Schema> SchemaOf(const std::string& component, const std::string& group,
                                       const std::string& key);
void Validate(const Schema& schema, const JsonValue& values);
}
