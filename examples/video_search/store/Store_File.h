#pragma once

/// \file
/// A store's file as a SQLite database: making, opening and checking one, and failures as sentences.
/// For the store's own sources. Threads: a database belongs to one thread at a time.

#include "../host/Host.h"
#include "Traits.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace video_search {

/// What went wrong, to be put behind the file's name.
[[nodiscard]] std::string describe(const SQLite::Exception& error);

/// Calls the function, and makes a Failure of what SQLite throws.
template <class Function>
auto guarded(const std::string& path, Function function)
{
    try {
        return function();
    } catch (const SQLite::Exception& error) {
        throw Failure(path + describe(error));
    }
}

/// A file's name as SQLite takes it, whatever the name is: absolute, in UTF-8.
[[nodiscard]] std::string sqlite_name(const std::string& path);

using Database_Ptr = std::unique_ptr<SQLite::Database>;

/// A store of this version or of an earlier one.
[[nodiscard]] Database_Ptr open_for_reading(const std::string& path);

/// Makes the file when it is missing, and gives a store of an earlier version the tables of this one.
[[nodiscard]] Database_Ptr make_or_open(const std::string& path);

/// The version that the store has now: another process may raise it.
[[nodiscard]] int version_of(SQLite::Database& database);

/// The first version that has traits beside its objects.
constexpr int version_with_traits = 2;

/// The columns of the shares: preset 1 first.
constexpr std::array<const char*, Traits::preset_count> trait_colors{
    "white",      "black",  "gray",   "light_blue", "dark_blue", "brown", "light_green",
    "dark_green", "yellow", "orange", "red",        "pink",      "purple"};

/// The index of a colour holds the objects that have so much of it or more, percent.
constexpr int least_indexed_share = 5;

/// Whether the traits have their index of durations. It came later than they did.
[[nodiscard]] bool has_durations(SQLite::Database& database);

/// That of this process' classifier.
[[nodiscard]] std::int64_t own_fingerprint();

/// Removes all traits of a database of this version; those that are put there from now on are of this
/// process' classifier. Within a transaction.
void remake_traits(SQLite::Database& database);

} // namespace video_search
