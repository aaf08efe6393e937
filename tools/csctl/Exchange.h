// Exchange documents from the command line: export, import (tried, or replacing what the
// document names), the differences between the store and a document, and editing an object's
// document in an editor.
#pragma once

#include <string>
#include <vector>

#include "Commands.h"

namespace csctl {

// The exchange document of the objects of `keys` (none: every key) in the pattern's group,
// component and instance, each where given.
void RunExport(Session& session, const std::vector<std::string>& keys, const Identity& pattern);

// Stores a document ("-": standard input). `dryRun`: checked as an import and stored nowhere.
// `replace`: the objects of every key, group and component the document holds become exactly
// the document's (the others of those go), in one transaction.
void RunImport(Session& session, const std::string& path, bool dryRun, bool replace);

// Prints what differs between the store and a document, value by value, over the keys, groups
// and components the document holds; true when anything differs.
bool RunDiff(Session& session, const std::string& path);

// Imports an exchange document's text: into the store's open transaction, if there is one.
// A refusal is a Failure with the store's error entries.
void ImportText(const std::string& text);

// Adds the differences of one identity and class, value by value, to `differences`: the value of
// each side, named `first` and `second`, where it has one. An entry is one of an exchange
// document's; none stands for an empty object.
void AddDifferences(const rapidjson::Value* from, const rapidjson::Value* to,
                    rapidjson::Document& differences, const char* first = "stored",
                    const char* second = "document");

// Opens the values one class holds for an object in $VISUAL or $EDITOR and stores what is saved
// in their place; a text the store refuses is shown again after the reason.
void RunEdit(Session& session, const Identity& identity, DataClass dataClass);

// Prints each change of what the pattern selects as the store commits it: the values an object's
// class holds after the change, or that it is gone. Looks every `interval` seconds; ends after
// `count` changes (0: never).
void RunWatch(Session& session, const Identity& pattern, double interval, int count);

}  // namespace csctl
