// The store the fuzz targets run on: a temporary directory, emptied after every input so that
// each input starts from an empty store and a crash reproduces from its input alone. And the
// checks of results they share.
#pragma once

#include <string>

#include "configstorec.h"

// Points the stand-in engine at a new temporary store and at the example schemas; removes the
// directory when the process exits; returns the directory. Call once, from LLVMFuzzerInitialize.
std::string SetUpFuzzStore();

// Removes every file of the store. Call after an input has released all its handles, when the
// engine has closed its databases.
void EmptyFuzzStore();

// `status`, which must be one of the interface's codes (else the process aborts).
ConfigStoreCStatus Checked(ConfigStoreCStatus status);

// Import's result for `document`, its error list read and released.
ConfigStoreCStatus ImportText(const char* document);

// Makes an object of `document` with CreateObject and, when that succeeds, writes it with Set
// and, when the store takes it, reads it back.
void CreateAndWrite(const char* document, const char* key, const char* group, const char* component,
                    const char* instanceId);
