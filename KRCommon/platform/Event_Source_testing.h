#pragma once

/// \file
/// What tests need of the registry and the system's log beyond Event_Source.h: reading back. Not
/// part of the library.

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kr_platform_testing {

/// True on Windows. Without a registry nothing below finds or changes anything.
bool has_registry();

struct Registry_Value {
    unsigned type = 0; ///< 1 REG_SZ, 4 REG_DWORD
    std::string data;  ///< the bytes as stored; a text in the ANSI code page, zero and all
};

/// Paths are below HKEY_LOCAL_MACHINE.
bool key_exists(const std::string& path);
std::vector<std::string> value_names(const std::string& path);
std::vector<std::string> subkey_names(const std::string& path);
std::optional<Registry_Value> read_value(const std::string& path, const std::string& name);

/// Deletes a key with all below it; does nothing when there is none.
void delete_key(const std::string& path);

/// Makes a folder the process's working folder. False when it cannot.
bool enter_folder(const std::string& path);

/// Receives what the process sends to syslog, in the place of a daemon.
class System_Log {
public:
    /// Null where that place cannot be taken: on Windows, where a daemon has it already, without
    /// the right to. Waits up to 2 seconds for another test that has it.
    static std::unique_ptr<System_Log> open();
    virtual ~System_Log() = default;
    System_Log(const System_Log&) = delete;
    System_Log& operator=(const System_Log&) = delete;

    /// The next record of this process as it came, "<priority>stamp program: text"; waits up to 5
    /// seconds, then it is empty.
    virtual std::string receive() = 0;

    /// Has the C library's own function send a record of this level, 0 to 7.
    virtual void send_by_runtime(int level, const std::string& text) = 0;

protected:
    System_Log() = default;
};

} // namespace kr_platform_testing
