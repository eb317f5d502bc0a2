#pragma once

/// \file
/// Who may ask: on loopback pages of this service and programs, elsewhere those who know the token.
/// Threads: constant after construction.

#include <httplib.h>

#include <string>
#include <string_view>
#include <vector>

namespace video_search {

/// Whether an address to listen on is reached from this machine alone.
[[nodiscard]] bool is_loopback(const std::string& address);

/// Takes as long for each text of one length, wherever it differs.
[[nodiscard]] bool is_same_secret(std::string_view one, std::string_view other) noexcept;

/// The first line of the file without its end. Failure (Host.h) where there is none of 16 to 256
/// visible ASCII characters.
[[nodiscard]] std::string read_token(const std::string& file);

class Access {
public:
    /// token  empty: none is needed
    Access(const std::string& address, std::string token);

    /// Throws Api_Error: 400 and 421 for the Host, 403 for a page of another site that asks, 401 for
    /// a missing or wrong token.
    void check(const httplib::Request& request) const;

    /// Whether the request brings the right token in its address, to be kept as a cookie.
    [[nodiscard]] bool brings_token(const httplib::Request& request) const;
    /// The value of Set-Cookie for it.
    [[nodiscard]] std::string cookie() const;

private:
    void check_host(const httplib::Request& request) const;
    void check_token(const httplib::Request& request) const;

    const std::string token_;
    std::vector<std::string> hosts_; ///< names of this machine; any when empty
};

} // namespace video_search
