// Where the client keeps its files (debug log, settings, plug-in data) and the
// name of the platform it reports to the website.
#pragma once

#include <atomic>
#include <string>

#include "CSingleton.h"

// Threads: the getters are read from both threads (every log line asks for the
// log path). The setters are for the plug-in's start, the test bed and the
// tests, and must be called before any other thread logs or reads the paths.
// The folder's writability is the exception: any thread, at any time.
class CClientConfig : public CSingleton<CClientConfig> {
    friend class CSingleton<CClientConfig>;

public:
    // Each path is a prefix put before a file name: empty (the working folder,
    // for hosts that name no folder) or ending in a separator.
    const std::string& getLogPath() const { return m_logPath; }
    const std::string& getIniPath() const { return m_iniPath; }
    const std::string& getDataPath() const { return m_dataPath; }
    const std::string& getOS() const { return m_os; }

    // The folders as X-Plane names them: its own folder (XPLMGetSystemPath)
    // takes the debug log, the settings and a kept report; the plug-in's file
    // (XPLMGetPluginInfo) sits in a platform folder of the data folder
    // (<data>/lin_x64/Quelby.xpl). UTF-8, native separators. An empty text
    // when both were usable; otherwise what was wrong, with the paths left
    // at a safe choice: without X-Plane's folder nothing moves, without the
    // plug-in's file the data folder is X-Plane's Resources/plugins/Quelby/.
    std::string useXPlaneFolders(const std::string& xplaneFolder, const std::string& pluginFile);

    // Whether X-Plane's folder took the debug log; until known, it did.
    bool isXPlaneFolderWritable() const { return m_bFolderWritable.load(); }
    void setXPlaneFolderWritable(bool writable) { m_bFolderWritable.store(writable); }

    // For hosts whose files live elsewhere. A folder given without its
    // closing separator gets one.
    void setLogPath(const std::string& path);
    void setIniPath(const std::string& path);
    void setDataPath(const std::string& path);
    // Back to the paths of a host that names no folder.
    void restoreDefaults() { createConfig(); }

private:
    CClientConfig();
    virtual ~CClientConfig();

    void createConfig();

    std::string m_logPath;
    std::string m_iniPath;
    std::string m_dataPath;
    std::string m_os;
    std::atomic<bool> m_bFolderWritable{true};
};
