// Where the client keeps its files (debug log, settings, plug-in data) and the
// name of the platform it reports to the website.
#pragma once

#include <string>

#include "CSingleton.h"

// Threads: the getters are read from both threads (every log line asks for the
// log path). The setters are for the test bed and the tests and must be called
// before any other thread logs or reads the paths.
class CClientConfig : public CSingleton<CClientConfig> {
    friend class CSingleton<CClientConfig>;

public:
    // Each path is a prefix put before a file name: empty (the simulator's
    // working folder) or ending in '/'.
    const std::string& getLogPath() const { return m_logPath; }
    const std::string& getIniPath() const { return m_iniPath; }
    const std::string& getDataPath() const { return m_dataPath; }
    const std::string& getOS() const { return m_os; }

    // For hosts whose working folder is not the simulator's folder. A folder
    // given without its closing '/' gets one.
    void setLogPath(const std::string& path);
    void setIniPath(const std::string& path);
    void setDataPath(const std::string& path);
    // The log's folder before anything moves it: the simulator's working folder.
    static const char* defaultLogPath() { return ""; }
    // Back to the paths the simulator's own working folder implies.
    void restoreDefaults() { createConfig(); }

private:
    CClientConfig();
    virtual ~CClientConfig();

    void createConfig();

    std::string m_logPath;
    std::string m_iniPath;
    std::string m_dataPath;
    std::string m_os;
};
