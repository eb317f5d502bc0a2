#pragma once

/// \file
/// What makes a program a host of the library: a reactor that drives everything, the log manager
/// with a folder, the profiler, the identifier of the run, and the clean stop on Ctrl-C.
///
///     Host host("kr_search", "logs", argv[0]);
///     Query_Service service(host, ...);             // a KR_Component_Base
///     return host.run(service) ? 0 : 1;
///
/// Threads: construct, run() and destroy on one thread; everything else may be called from any.

#include <KRCommon/frame/Component_Base.h>
#include <KRCommon/frame/ProfileHelper.h>

#include <ace/Reactor.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace video_search {

/// A failure that the user is to read: one sentence without a line feed. main() prints it as
/// "<program>: <sentence>" on stderr, logs it as an error and ends with exit code 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The path of a file name as the command line gives it: in the ANSI code page on Windows, plain
/// bytes on Linux.
[[nodiscard]] std::filesystem::path to_path(const std::string& name);

/// A new GUID, as text, for a run.
[[nodiscard]] std::string make_run_id();

/// One at a time in a process.
class Host {
public:
    /// Opens the log and logs the start-up line: program, run, versions and builds of the program and
    /// of the library. Lines up to LM_NOTICE go into the log files, and none to the console.
    /// From now on Ctrl-C (SIGINT) and SIGTERM no longer end the process. Nor does SIGHUP, which has the
    /// log file opened anew at the next tick, for logrotate and the like; where the standard input is a
    /// terminal it is as SIGTERM.
    ///
    /// program  name of the program; begins the names of its log files and of its CSV file
    /// logs     folder of both; made with its parents when missing. Failure when that is impossible,
    ///          or when no log file can be written there; nothing stays open then
    ///
    /// std::logic_error while another host lives.
    Host(const std::string& program, const std::string& logs);

    /// Writes the last profiler report and a closing line, closes the log, and gives log settings
    /// and signals back as they were.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Starts the component, runs the reactor until end() or Ctrl-C (SIGTERM too), stops the
    /// component. False when it could not be started or stopped, or when the reactor failed; a log
    /// line says so. An exception of the component, be it from a hook or an upcall, passes through;
    /// a component that runs then is stopped first.
    [[nodiscard]] bool run(KR_Component_Base& component);

    /// Ends run(): the work is done. Nothing takes it back: a later run() ends at once.
    void end() noexcept { is_over_ = true; }

    /// Whether Ctrl-C was pressed since the construction. Nothing takes it back either; pressing it
    /// again changes nothing.
    bool is_interrupted() const noexcept;

    /// Reports once a minute while run() lasts, and when the host ends. The figures are those since
    /// the start.
    ProfileHelper& profile() noexcept { return profile_; }

    /// GUID of this run.
    const std::string& run_id() const noexcept { return run_id_; }

private:
    class Signals;
    class Log;
    class Reporter;

    bool run_reactor();

    const std::string program_;
    const std::string run_id_;
    std::atomic<bool> is_over_{false};
    // Each needs those above it.
    const std::unique_ptr<Signals> signals_;
    ACE_Reactor reactor_;
    const std::unique_ptr<Log> log_;
    ProfileHelper profile_; // in the folder that the log has made
    std::unique_ptr<Reporter> reporter_;
};

} // namespace video_search
