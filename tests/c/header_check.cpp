// The public header must compile as C++ too, where it also declares the C++-only entry points.
#include "configstorec.h"

int HeaderCheckUsesCxxDeclarations(ConfigStoreObjectStruct* object) {
    return DestroyConfigStoreObjectInternal(object);
}
