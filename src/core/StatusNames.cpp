// The names of the result codes, as the header spells them.
#include "configstorec.h"

const char* ConfigStoreCStatusName(int status) {
    switch (status) {
        case CS_C_OK:
            return "CS_C_OK";
        case CS_C_STORE_ERROR:
            return "CS_C_STORE_ERROR";
        case CS_C_INVALID_ARGUMENT:
            return "CS_C_INVALID_ARGUMENT";
        case CS_C_VALIDATION_ERROR:
            return "CS_C_VALIDATION_ERROR";
        case CS_C_INVALID_TYPE:
            return "CS_C_INVALID_TYPE";
        case CS_C_INTERNAL_ERROR:
            return "CS_C_INTERNAL_ERROR";
        case CS_C_NOT_FOUND:
            return "CS_C_NOT_FOUND";
        case CS_C_VALUE_IS_DEFAULT:
            return "CS_C_VALUE_IS_DEFAULT";
    }
    return "CS_C_UNKNOWN_STATUS";
}
