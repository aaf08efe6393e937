// Shared by every engine build: the exception classes, defined once so that each engine library
// owns their type information.
#include <kivconfigstore/Exceptions.h>

#include <utility>

namespace Velder {
namespace Lib {

VelderException::VelderException(std::string message, std::shared_ptr<void> context)
    : message_(std::move(message)), context_(std::move(context)) {}
VelderException::VelderException(const VelderException&) = default;
VelderException& VelderException::operator=(const VelderException&) = default;
VelderException::~VelderException() = default;

const char* VelderException::what() const noexcept {
    return message_.c_str();
}

}  // namespace Lib
}  // namespace Velder

namespace KivConfigStore {

ConfigStoreException::ConfigStoreException(std::string message, int32_t code)
    : VelderException(std::move(message)), code_(code) {}
ConfigStoreException::ConfigStoreException(const ConfigStoreException&) = default;
ConfigStoreException& ConfigStoreException::operator=(const ConfigStoreException&) = default;
ConfigStoreException::~ConfigStoreException() = default;

ValidationException::ValidationException(const ValidationException&) = default;
ValidationException& ValidationException::operator=(const ValidationException&) = default;
ValidationException::~ValidationException() = default;

InvalidArgumentException::InvalidArgumentException(const InvalidArgumentException&) = default;
InvalidArgumentException& InvalidArgumentException::operator=(const InvalidArgumentException&) =
    default;
InvalidArgumentException::~InvalidArgumentException() = default;

InvalidTypeException::InvalidTypeException(const InvalidTypeException&) = default;
InvalidTypeException& InvalidTypeException::operator=(const InvalidTypeException&) = default;
InvalidTypeException::~InvalidTypeException() = default;

}  // namespace KivConfigStore
