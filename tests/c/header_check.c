/* The public header must stand alone in strict C. */
#include "configstorec.h"

int header_check_uses_every_type(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                                 FilterSpecObjectStruct* filter) {
    ConfigStoreCStatus status = DestroyStore(store);
    if (status == CS_C_OK) status = DestroyConfigStoreObject(object);
    if (status == CS_C_OK) status = DestroyFilterSpecObject(filter);
    return status;
}

/* The extensions return texts. */
const char* header_check_uses_the_extensions(int status) {
    return *ConfigStoreCLastError() != '\0' ? ConfigStoreCLastError()
                                            : ConfigStoreCStatusName(status);
}
