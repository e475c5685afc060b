// The debug log: every object writes its diagnostics, one time-stamped line
// at a time, to "quelby_debug.txt" in the client's log folder.
#pragma once

#include <string>

// Threads: any. Each line is opened, appended and closed under one
// process-wide lock, so lines from the simulator's thread and the client
// thread never tear or merge. A logger object may be shared between threads:
// it keeps no state of its own while a line is written. Logging never throws.
class CLogger {
public:
    explicit CLogger(const std::string& name);
    CLogger(const std::string& name, bool verbose);
    ~CLogger();
    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;

    void debug(const std::string& message) const noexcept;
    void warn(const std::string& message) const noexcept;
    void error(const std::string& message) const noexcept;

    // Local time as "dd.mm.yy - HH:MM:SS".
    static std::string getTime();

    // Appends one line; each line break inside text starts a continuation
    // line that carries its own time stamp and this logger's name.
    void writeToFile(const std::string& text) const noexcept;

    // The server named in the log's header. Set it before the first logger
    // is made; the default is the primary host's request address.
    static void setServerUrl(const std::string& url);

    // A program that must leave no log at all (a fuzzer, which would add
    // lines for every input) turns the file off: every line is then dropped
    // before it is built or the file is opened. On by default.
    static void setFileEnabled(bool enabled);
    // Whether lines reach the file: a caller may skip building long
    // diagnostics that would only be dropped.
    static bool isFileEnabled();

    // Test-only: the next logger made writes the header again, as the first
    // logger of a new process would.
    static void resetForTests();

private:
    void initialize() noexcept;
    // Writes one line; the caller holds the log lock.
    void appendLocked(const std::string& text) const;

    std::string m_name;
    bool m_bVerbose;

    // Whether this process has written the log's header; guarded by the log lock.
    static bool bInitialized;
};
