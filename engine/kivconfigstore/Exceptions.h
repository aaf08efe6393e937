// The exceptions the engine raises. Their destructors live in the engine, which therefore owns
// their virtual tables and type information: a binding catches the engine's types, not copies.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace Velder {
namespace Lib {

class VelderException : public std::exception {
public:
    explicit VelderException(std::string message, std::shared_ptr<void> context = nullptr);
    VelderException(const VelderException&);
    VelderException& operator=(const VelderException&);
    ~VelderException() override;
    const char* what() const noexcept override;

private:
    std::string message_;
    std::shared_ptr<void> context_;
};

}  // namespace Lib
}  // namespace Velder

namespace KivConfigStore {

// The engine's general failure; `code` is one of CSErrorCodes.
class ConfigStoreException : public Velder::Lib::VelderException {
public:
    explicit ConfigStoreException(std::string message, int32_t code = 0);
    ConfigStoreException(const ConfigStoreException&);
    ConfigStoreException& operator=(const ConfigStoreException&);
    ~ConfigStoreException() override;
    int32_t Code() const noexcept { return code_; }

private:
    int32_t code_;
};

// The data broke a schema or a rule of the store.
class ValidationException : public ConfigStoreException {
public:
    using ConfigStoreException::ConfigStoreException;
    ValidationException(const ValidationException&);
    ValidationException& operator=(const ValidationException&);
    ~ValidationException() override;
};

// An argument (key, value, identity) is not acceptable.
class InvalidArgumentException : public ConfigStoreException {
public:
    using ConfigStoreException::ConfigStoreException;
    InvalidArgumentException(const InvalidArgumentException&);
    InvalidArgumentException& operator=(const InvalidArgumentException&);
    ~InvalidArgumentException() override;
};

// The value stored under a key has another type than the operation's.
class InvalidTypeException : public ConfigStoreException {
public:
    using ConfigStoreException::ConfigStoreException;
    InvalidTypeException(const InvalidTypeException&);
    InvalidTypeException& operator=(const InvalidTypeException&);
    ~InvalidTypeException() override;
};

}  // namespace KivConfigStore
