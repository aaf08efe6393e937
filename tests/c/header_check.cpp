// The public header must compile as C++ too, where it also declares the C++-only entry points.
#include "configstorec.h"

int HeaderCheckUsesCxxDeclarations(ConfigStoreObjectStruct* object) {
    return DestroyConfigStoreObjectInternal(object);
}

const char* HeaderCheckUsesTheExtensions(int status) {
    return *ConfigStoreCLastError() != '\0' ? ConfigStoreCLastError()
                                            : ConfigStoreCStatusName(status);
}
