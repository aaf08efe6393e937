// What the stand-in engine's tests share: one temporary directory for the whole process (the
// environment in StandinTest.cpp) and the helpers every file would otherwise repeat.
#pragma once

#include <kivconfigstore/ConfigStore.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "Json.h"

namespace standin_test {

// The process's temporary directory: the stores' files go below state/nested and run; the
// components directory, a copy of the shipped examples that the cases add to, is "components".
const std::filesystem::path& TestDirectory();

// "<suite>.<test>" of the running test: a namespace or component of its own.
std::string TestName();

// The code of the ConfigStoreException that `action` raises; 0 when it raises none.
int CodeOf(const std::function<void()>& action);

// `text`, which must be strict JSON.
standin::Json Parse(const char* text);

// A filter spec for `id` whose values are `values` (JSON).
std::shared_ptr<KivConfigStore::FilterSpecObject> Filter(
    const KivConfigStore::ConfigStoreObjectId& id, const char* values = "{}");

// The rows `sql` reads from the store file of `nameSpace`: columns joined by a space, rows by
// ", "; a statement that fails fails the test.
std::string Rows(const std::string& nameSpace, const std::string& sql);

// "key/instance" of each object, in the order given.
std::string Names(const KivConfigStore::ObjectList& objects);

}  // namespace standin_test
