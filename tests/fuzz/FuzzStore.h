// The store the fuzz targets run on: a temporary directory, emptied after every input so that
// each input starts from an empty store and a crash reproduces from its input alone.
#pragma once

// Points the stand-in engine at a new temporary store and at the example schemas; removes the
// directory when the process exits. Call once, from LLVMFuzzerInitialize.
void SetUpFuzzStore();

// Removes every file of the store. Call after an input has released all its handles, when the
// engine has closed its databases.
void EmptyFuzzStore();
