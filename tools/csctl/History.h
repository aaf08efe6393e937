// The store's history from the command line: the commits it holds, what one of them changed, and
// how the store differed between two versions. csctl reads the history with the engine's own
// reader (it is no part of the library's interface) and writes only through the library.
#pragma once

#include <History.h>

#include <memory>
#include <optional>
#include <string>

#include "Commands.h"

namespace csctl {

// Runs a reading of the history: the engine's failures end the command with their message.
template <typename Call>
auto FromHistory(Call&& call) {
    try {
        return call();
    } catch (const KivConfigStore::ConfigStoreException& failure) {
        throw Failure{CS_C_STORE_ERROR, failure.what(), {}};
    }
}

// The history of the session's namespace, read as it is now, once the library has opened the
// store (a namespace that does not exist is its error, as for any other command).
std::unique_ptr<standin::HistoryReader> OpenHistory(Session& session);

// A version as the commands take it: a number from 0 up (kUsage otherwise).
long long ParseVersion(const std::string& text);
// Whether a command's argument names a version rather than a file.
bool IsVersion(const std::string& text);

// Refuses a version the store never reached, and one whose history retention forgot.
void CheckKept(standin::HistoryReader& history, long long version);

// An exchange document's entry for one identity and class holding `document`.
rapidjson::Value EntryOf(const standin::HistorySlot& slot, const std::string& document,
                         rapidjson::Document::AllocatorType& allocator);

// The commits the history holds, newest first; those that changed what `pattern` selects
// (empty fields select all), with the identities it selects.
void RunLog(Session& session, const Identity& pattern);
// What commit `version` changed, value by value.
void RunShow(Session& session, long long version);
// How the store differed between versions `from` and `to` (none: now), value by value; true
// when it did.
bool RunVersionDiff(Session& session, long long from, std::optional<long long> to);

}  // namespace csctl
