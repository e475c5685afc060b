// The client's two INI files, "quelby.ini" (the pilot's settings) and
// "quelby_report.ini" (the backup of a flight or an unsent report): typed
// reads and writes of strings, integers, flags and binary records.
#pragma once

// The stores hold plain 8-bit text (CSimpleIniA); no wide-character
// conversion library is wanted.
#ifndef SI_NO_CONVERSION
#define SI_NO_CONVERSION
#endif
#include <SimpleIni.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "CSingleton.h"

class CLogger;

// Threads: the client thread only; the store takes no locks.
//
// Writes change the in-memory stores; nothing reaches the disk before
// saveFiles() (or the destructor). Reads never fail: a missing, damaged or
// unreadable file reads as empty and missing keys give their defaults.
class CIniParser : public CSingleton<CIniParser> {
    friend class CSingleton<CIniParser>;

public:
    // out receives at most size - 1 characters and is always terminated.
    // Returns false only when there is no room at all (out null or size 0).
    bool getStringFromConfig(const std::string& section, const std::string& key, char* out,
                             std::size_t size);
    bool getStringFromReport(const std::string& section, const std::string& key, char* out,
                             std::size_t size);
    // Parsed as atoi would in the "C" locale; a missing key is 0.
    int getIntFromConfig(const std::string& section, const std::string& key);
    int getIntFromReport(const std::string& section, const std::string& key);
    // True exactly when the value is the number 1; a missing key is false.
    bool getBoolFromConfig(const std::string& section, const std::string& key);
    bool getBoolFromReport(const std::string& section, const std::string& key);
    // As getBoolFromConfig, but a missing key is true.
    bool getStdTrueBoolFromConfig(const std::string& section, const std::string& key);
    // Fills size bytes at out from the value's hexadecimal text. A short text
    // fills what it holds and zeroes the rest; a pair that is not hexadecimal
    // gives 0 for that byte.
    bool getStructFromConfig(const std::string& section, const std::string& key, void* out,
                             std::size_t size);
    bool getStructFromReport(const std::string& section, const std::string& key, void* out,
                             std::size_t size);

    // Add or replace one entry. A value the file could not give back as
    // written (a line break anywhere, ']' in a section, '=' in a key, an empty
    // key) is refused, logged and reported as false.
    bool writeStringToConfig(const std::string& section, const std::string& key,
                             const std::string& value);
    bool writeStringToReport(const std::string& section, const std::string& key,
                             const std::string& value);
    // Stores size bytes as upper-case hexadecimal, two digits per byte.
    bool writeStructToConfig(const std::string& section, const std::string& key, const void* data,
                             std::size_t size);
    bool writeStructToReport(const std::string& section, const std::string& key, const void* data,
                             std::size_t size);

    // Writes the settings file, then the report file. Each is replaced as a
    // whole or not at all; returns true when both were saved.
    bool saveFiles();
    // One file alone, for callers that must control which of the two
    // reaches the disk first.
    bool saveConfigFile();
    bool saveReportFile();
    // The exact bytes the report file receives at its next save.
    std::string getReportFileText() const;
    // The bytes of the report file as it is on disk now; empty when it
    // cannot be read.
    std::string readReportFileFromDisk() const;
    // Empties the report store in memory; callers save afterwards.
    void resetBackupFile();
    // Replaces the report store with text taken as the report file's bytes,
    // refused (logged, the store left empty) on exactly the grounds a file
    // read from disk is. Nothing reaches the disk. Returns whether it was taken.
    bool loadReportText(const std::string& contents);
    const std::string& getBackupReportFilename() const { return m_reportFileName; }

private:
    CIniParser();
    virtual ~CIniParser();

    bool loadStore(CSimpleIniA& store, const std::string& fileName);
    void setAsideReportFile();
    // The checks and parsing of a file's bytes; an empty text when taken,
    // else why not.
    static std::string parseStore(CSimpleIniA& store, const std::string& contents);
    bool saveStore(const CSimpleIniA& store, const std::string& fileName);
    void createIfMissing(const std::string& fileName);
    // Adds or replaces the entry, or logs failure and returns false. The
    // failure's text is made only when it is logged: a report backup writes
    // thousands of entries.
    bool storeEntry(CSimpleIniA& store, const std::string& section, const std::string& key,
                    const std::string& value, const std::function<std::string()>& failure) noexcept;
    // Stores size bytes of data as hexadecimal text; file names the store
    // in the failure's log line.
    bool writeStruct(CSimpleIniA& store, const char* file, const std::string& section,
                     const std::string& key, const void* data, std::size_t size) noexcept;

    std::unique_ptr<CLogger> m_pLogger;
    std::string m_iniPath;
    std::string m_configFileName;
    std::string m_reportFileName;
    CSimpleIniA m_reportStore;
    CSimpleIniA m_configStore;
    // The report file could be neither read nor moved aside.
    bool m_bReportFileHeld = false;
};
