// The debug log: every object writes its diagnostics, one time-stamped line
// at a time, to "quelby_debug.txt" in the client's log folder. Also the few
// support lines for X-Plane's own Log.txt.
#pragma once

#include <functional>
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

    // The debug log's full name, and the previous run's beside it.
    static std::string logFileName();
    static std::string previousLogFileName();

    // A run of the plug-in starts a log of its own. beginNewLog() costs no
    // file access (the simulator's thread calls it while it starts the
    // plug-in): lines from then on are held in memory. startNewLog(), on
    // the client thread, keeps the previous log as the ".old" one, starts
    // the file afresh with the header and writes the held lines. An empty
    // text when the new log was written; else why not (the folder takes no
    // files), and lines are then dropped as for any unwritable log.
    static void beginNewLog();
    static std::string startNewLog();

    // Support lines go to X-Plane's Log.txt, the first file a pilot sends
    // with a support request: one line when the plug-in starts, and one for
    // each feature that is off, saying why. The sink gets each line whole,
    // "Quelby: " first and a line break last; setting it forgets the causes
    // already said. A cause is said once while one sink is set, whatever
    // the number of calls; returns whether this call said it. Without a sink
    // nothing is said. Any thread; the sink is called under a lock of its
    // own, so it must not log a support line itself.
    using SupportSink = std::function<void(const std::string& line)>;
    static void setSupportSink(SupportSink sink);
    static bool support(const std::string& cause, const std::string& text) noexcept;

    // Test-only: the next logger made writes the header again, as the first
    // logger of a new process would.
    static void resetForTests();

private:
    void initialize() noexcept;
    // Writes one line, or holds it while a new log is being begun; the
    // caller holds the log lock. False when it could not be written.
    bool appendLocked(const std::string& text) const;

    std::string m_name;
    bool m_bVerbose;

    // Whether this process has written the log's header; guarded by the log lock.
    static bool bInitialized;
};
