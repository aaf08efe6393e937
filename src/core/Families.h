// The exception families: which engine exceptions each kind of operation translates, in the
// order its handlers are tried. Anything a family does not list reaches the catch-all of Guard.
#pragma once

#include <exception>

#include <kivconfigstore/Exceptions.h>

#include "Guard.h"
#include "configstorec.h"

namespace binding {

namespace engine = KivConfigStore;

using StoreFailure = Catch<engine::ConfigStoreException, CS_C_STORE_ERROR>;
using OtherFailure = Catch<std::exception, CS_C_INTERNAL_ERROR>;
using InvalidArgument = Catch<engine::InvalidArgumentException, CS_C_INVALID_ARGUMENT>;
using InvalidType = Catch<engine::InvalidTypeException, CS_C_INVALID_TYPE>;
using ValidationFailure = Catch<engine::ValidationException, CS_C_VALIDATION_ERROR>;

using ValueReads = Family<InvalidType>;
using ArrayReads = Family<InvalidType>;
using ValueWrites = Family<InvalidArgument>;
using ValueAppends = Family<InvalidArgument, InvalidType>;
using ObjectReads = Family<StoreFailure, OtherFailure>;
using ObjectWrites = Family<ValidationFailure, StoreFailure, OtherFailure>;
using ObjectCreation = Family<InvalidArgument, StoreFailure>;
using InstanceReads = Family<InvalidArgument, StoreFailure, OtherFailure>;
using InstanceWrites = Family<InvalidArgument, ValidationFailure, StoreFailure, OtherFailure>;
using StoreLevel = Family<StoreFailure>;
using Untranslated = Family<>;

}  // namespace binding
