// The engine's header defines its error-code table and reserved names with internal linkage, for
// every client to carry. This is the library's one copy: built when the library is loaded and
// destroyed, in reverse order, when it is unloaded.
#include <kivconfigstore/ErrorCodes.h>
