// The engine's one error path: every failure leaves as one of the interface's exception classes,
// carrying a code of the error-code table and that code's formatted message.
#pragma once

#include <kivconfigstore/ErrorCodes.h>
#include <kivconfigstore/Exceptions.h>
#include <kivconfigstore/ObjectIds.h>

#include <string>

namespace standin {

using KivConfigStore::CSErrorCodes;

// The table's message for `code` with its placeholders filled from `arguments` (strings for
// "%s", one integer for "%d"), then ": detail" when a detail is given.
std::string Message(CSErrorCodes code, const std::string& detail = {},
                    const std::string& argument = {}, int number = 0);

// "component/group/key[/instance]", as messages name an object.
std::string NameOf(const KivConfigStore::ConfigStoreObjectId& id);

// The numbers are stored in the database: never renumber.
enum class DataClass : int {
    Configuration = 0,
    UserData = 1,
    VitalData = 2,
    CachedData = 3,
    Desired = 4,  // the desired user configuration; not part of an object's values
};
// "configuration", "userData", "vitalData", "cachedData" or "desired", as documents name a class.
const char* NameOf(DataClass dataClass);

// Throws `Exception` (ConfigStoreException or one of its subclasses) for `code`.
template <class Exception = KivConfigStore::ConfigStoreException>
[[noreturn]] void Fail(CSErrorCodes code, const std::string& detail = {},
                       const std::string& argument = {}, int number = 0) {
    throw Exception(Message(code, detail, argument, number), code);
}

}  // namespace standin
