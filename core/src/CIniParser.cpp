// The settings and report INI files: loading them defensively, typed access
// by section and key, and saving each file whole or not at all.

// The INI library's template bodies are compiled here (the packaged header
// keeps them behind SI_IMPLEMENTATION), so the plug-in carries its own copy
// and needs no shared library beside it. This must precede the first include.
#define SI_IMPLEMENTATION
#include "CIniParser.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/format.hpp>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "CClientConfig.h"
#include "CFileAccess.h"
#include "CLogger.h"
#include "CNumberText.h"

namespace {

namespace fs = std::filesystem;

// File names are UTF-8 inside the client; the path type takes them as such.
fs::path pathOf(const std::string& fileName) { return fs::u8path(fileName); }

// Now in UTC as 20261124T183000, for names of files set aside.
std::string utcStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32] = {0};
    std::strftime(text, sizeof(text), "%Y%m%dT%H%M%S", &utc);
    return text;
}

// Far above anything the client writes; a bigger file is not one of ours.
constexpr std::uintmax_t kMaxFileBytes = 64u * 1024u * 1024u;

std::string errnoText(int error) { return std::generic_category().message(error); }

// Text files only: control characters other than tab and line ends mean the
// file was overwritten with something else or torn by a crash. NUL is one of
// them: the scan stops at the first NUL, short of the text's end.
const char kBinaryBytes[] =
    "\x01\x02\x03\x04\x05\x06\x07\x08\x0B\x0C\x0E\x0F\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19"
    "\x1A\x1B\x1C\x1D\x1E\x1F\x7F";

bool looksDamaged(const std::string& contents) {
    // The C library's scan reads a file of tens of kilobytes far faster than
    // a loop of ours over its bytes.
    return std::strcspn(contents.c_str(), kBinaryBytes) != contents.size();
}

// Two scans for one character each: a scan for either of two characters
// looks every character up in the pair, and records are hundreds long.
bool hasLineBreak(const std::string& text) {
    return text.find('\n') != std::string::npos || text.find('\r') != std::string::npos;
}

// Whether the file would give the entry back exactly as written.
bool isStorable(const std::string& section, const std::string& key, const std::string& value) {
    return !key.empty() && !hasLineBreak(section) && !hasLineBreak(key) && !hasLineBreak(value) &&
           section.find(']') == std::string::npos && key.find('=') == std::string::npos;
}

// 0 to 15 for a hex digit, kNotHex for any other byte: one look-up a
// character, for a backup holds thousands of records as hex. kNotHex has the
// top bit set, which no digit's value has.
constexpr unsigned char kNotHex = 0xFF;
constexpr std::array<unsigned char, 256> kHexDigitValues = [] {
    std::array<unsigned char, 256> values{};
    for (unsigned char& value : values) {
        value = kNotHex;
    }
    for (int digit = 0; digit < 10; ++digit) {
        values['0' + digit] = static_cast<unsigned char>(digit);
    }
    for (int digit = 0; digit < 6; ++digit) {
        values['A' + digit] = static_cast<unsigned char>(10 + digit);
        values['a' + digit] = static_cast<unsigned char>(10 + digit);
    }
    return values;
}();

unsigned char hexDigitValue(char c) { return kHexDigitValues[static_cast<unsigned char>(c)]; }

// Byte i comes from characters 2i and 2i+1. A lone last digit stands for its
// own value; a pair with anything but hex digits gives 0.
void decodeHex(const char* text, void* out, std::size_t size) {
    unsigned char* bytes = static_cast<unsigned char*>(out);
    std::memset(bytes, 0, size);
    const std::size_t length = std::strlen(text);
    const std::size_t pairs = std::min(size, length / 2);
    for (std::size_t i = 0; i < pairs; ++i) {
        const unsigned high = hexDigitValue(text[2 * i]);
        const unsigned low = hexDigitValue(text[2 * i + 1]);
        // All ones when both are digits, else nothing: no branch per byte,
        // whatever mix of digits and damage the record holds.
        const unsigned keep = 0u - (1u ^ ((high | low) >> 7));
        bytes[i] = static_cast<unsigned char>((high << 4 | low) & keep);
    }
    if (length % 2 == 1 && pairs < size) {
        const unsigned last = hexDigitValue(text[length - 1]);
        bytes[pairs] = last > 0x0F ? 0 : static_cast<unsigned char>(last);
    }
}

bool copyValue(const char* value, char* out, std::size_t size) {
    if (out == nullptr || size == 0) {
        return false;
    }
    const std::size_t length = std::min(std::strlen(value), size - 1);
    std::memcpy(out, value, length);
    out[length] = '\0';
    return true;
}

}  // namespace

CIniParser::CIniParser()
    : m_pLogger(std::make_unique<CLogger>("CIniParser")),
      m_iniPath(CClientConfig::instance()->getIniPath()),
      m_configFileName(m_iniPath + "quelby.ini"),
      m_reportFileName(m_iniPath + "quelby_report.ini") {
    createIfMissing(m_configFileName);
    createIfMissing(m_reportFileName);
    loadStore(m_configStore, m_configFileName);
    if (!loadStore(m_reportStore, m_reportFileName)) {
        setAsideReportFile();
    }
}

void CIniParser::setAsideReportFile() {
    // What cannot be read may still be a pilot's only copy of a flight: it
    // is kept under a name of its own, never saved over.
    std::error_code error;
    if (!fs::is_regular_file(pathOf(m_reportFileName), error) ||
        fs::file_size(pathOf(m_reportFileName), error) == 0) {
        return;
    }
    const std::string asideName = m_iniPath + "quelby_report.damaged-" + utcStamp() + ".ini";
    fs::rename(pathOf(m_reportFileName), pathOf(asideName), error);
    if (error) {
        m_bReportFileHeld = true;
        m_pLogger->error("Could not set the damaged INI-file " + m_reportFileName + " aside (" +
                         error.message() + "); it is left as it is and not saved over");
        return;
    }
    m_pLogger->error("The damaged INI-file " + m_reportFileName + " is kept as " + asideName);
}

CIniParser::~CIniParser() {
    try {
        saveFiles();
    } catch (...) {
        // Saving already logs its failures; a destructor must not throw.
    }
}

void CIniParser::createIfMissing(const std::string& fileName) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(pathOf(fileName), error);
    if (status.type() != fs::file_type::not_found) {
        return;
    }
    const std::string failure = CFileAccess::createEmpty(fileName);
    if (!failure.empty()) {
        m_pLogger->error("Could not create INI-file " + fileName + ": " + failure);
    }
}

bool CIniParser::loadStore(CSimpleIniA& store, const std::string& fileName) {
    store.Reset();
    std::string problem;
    std::string contents;
    try {
        std::error_code error;
        if (!fs::is_regular_file(pathOf(fileName), error)) {
            problem = "not a regular file";
        } else if (fs::file_size(pathOf(fileName), error) > kMaxFileBytes) {
            problem = "larger than an INI-file of this client can be";
        } else {
            std::ifstream in(pathOf(fileName), std::ios::binary);
            if (!in) {
                problem = "cannot open it: " + errnoText(errno);
            } else {
                contents.assign(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
                if (in.bad()) {
                    problem = "cannot read it";
                } else {
                    problem = parseStore(store, contents);
                }
            }
        }
    } catch (const std::exception& e) {
        problem = e.what();
    }
    if (problem.empty()) {
        return true;
    }
    store.Reset();
    m_pLogger->error("Could not read INI-file " + fileName + " (" + problem +
                     "); reading it as empty");
    return false;
}

std::string CIniParser::parseStore(CSimpleIniA& store, const std::string& contents) {
    if (contents.size() > kMaxFileBytes) {
        return "larger than an INI-file of this client can be";
    }
    if (looksDamaged(contents)) {
        return "damaged, it holds binary data";
    }
    if (store.LoadData(contents) < 0) {
        return "cannot parse it";
    }
    return std::string();
}

bool CIniParser::loadReportText(const std::string& contents) {
    m_reportStore.Reset();
    std::string problem;
    try {
        problem = parseStore(m_reportStore, contents);
    } catch (const std::exception& e) {
        problem = e.what();
    }
    if (problem.empty()) {
        return true;
    }
    m_reportStore.Reset();
    m_pLogger->error("Could not take the report INI text (" + problem + "); reading it as empty");
    return false;
}

bool CIniParser::saveStore(const CSimpleIniA& store, const std::string& fileName) {
    std::string failure;
    try {
        std::string data;
        if (store.Save(data) < 0) {
            failure = "cannot format its contents";
        } else {
            failure = CFileAccess::replace(fileName, data);
        }
    } catch (const std::exception& e) {
        failure = e.what();
    }
    if (failure.empty()) {
        return true;
    }
    m_pLogger->error("Could not save INI-file " + fileName + " (" + failure +
                     "); the previous file is kept");
    return false;
}

bool CIniParser::saveFiles() {
    const bool configSaved = saveConfigFile();
    const bool reportSaved = saveReportFile();
    return configSaved && reportSaved;
}

bool CIniParser::saveConfigFile() { return saveStore(m_configStore, m_configFileName); }

bool CIniParser::saveReportFile() {
    if (m_bReportFileHeld) {
        m_pLogger->error("INI-file " + m_reportFileName +
                         " is damaged and could not be set aside; it is not saved over");
        return false;
    }
    return saveStore(m_reportStore, m_reportFileName);
}

std::string CIniParser::getReportFileText() const {
    std::string data;
    try {
        if (m_reportStore.Save(data) < 0) {
            data.clear();
        }
    } catch (const std::exception& e) {
        m_pLogger->error(std::string("Could not format the report INI-file: ") + e.what());
        data.clear();
    }
    return data;
}

std::string CIniParser::readReportFileFromDisk() const {
    std::ifstream in(pathOf(m_reportFileName), std::ios::binary);
    if (!in) {
        return std::string();
    }
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void CIniParser::resetBackupFile() { m_reportStore.Reset(); }

bool CIniParser::getStringFromConfig(const std::string& section, const std::string& key, char* out,
                                     std::size_t size) {
    return copyValue(m_configStore.GetValue(section.c_str(), key.c_str(), ""), out, size);
}

bool CIniParser::getStringFromReport(const std::string& section, const std::string& key, char* out,
                                     std::size_t size) {
    return copyValue(m_reportStore.GetValue(section.c_str(), key.c_str(), ""), out, size);
}

int CIniParser::getIntFromConfig(const std::string& section, const std::string& key) {
    return CNumberText::toInt(m_configStore.GetValue(section.c_str(), key.c_str(), "0"));
}

int CIniParser::getIntFromReport(const std::string& section, const std::string& key) {
    return CNumberText::toInt(m_reportStore.GetValue(section.c_str(), key.c_str(), "0"));
}

bool CIniParser::getBoolFromConfig(const std::string& section, const std::string& key) {
    return getIntFromConfig(section, key) == 1;
}

bool CIniParser::getBoolFromReport(const std::string& section, const std::string& key) {
    return getIntFromReport(section, key) == 1;
}

bool CIniParser::getStdTrueBoolFromConfig(const std::string& section, const std::string& key) {
    return CNumberText::toInt(m_configStore.GetValue(section.c_str(), key.c_str(), "1")) == 1;
}

bool CIniParser::getStructFromConfig(const std::string& section, const std::string& key, void* out,
                                     std::size_t size) {
    if (out == nullptr) {
        return false;
    }
    decodeHex(m_configStore.GetValue(section.c_str(), key.c_str(), ""), out, size);
    return true;
}

bool CIniParser::getStructFromReport(const std::string& section, const std::string& key, void* out,
                                     std::size_t size) {
    if (out == nullptr) {
        return false;
    }
    decodeHex(m_reportStore.GetValue(section.c_str(), key.c_str(), ""), out, size);
    return true;
}

namespace {

bool encodeHex(const void* data, std::size_t size, std::string& text) {
    if (data == nullptr && size > 0) {
        return false;
    }
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    text.resize(2 * size);
    for (std::size_t i = 0; i < size; ++i) {
        text[2 * i] = kDigits[bytes[i] >> 4];
        text[2 * i + 1] = kDigits[bytes[i] & 0x0F];
    }
    return true;
}

}  // namespace

bool CIniParser::storeEntry(CSimpleIniA& store, const std::string& section, const std::string& key,
                            const std::string& value,
                            const std::function<std::string()>& failure) noexcept {
    try {
        if (isStorable(section, key, value) &&
            store.SetValue(section.c_str(), key.c_str(), value.c_str()) >= 0) {
            return true;
        }
        m_pLogger->error(failure());
    } catch (...) {
        // Out of memory: the entry is not stored, which the caller learns.
    }
    return false;
}

namespace {

// The settings keep the pilot's password for the automatic login; the log,
// which pilots send with support requests, never shows it. Keys are compared
// as the store compares them, whatever their case.
std::string loggableValue(const std::string& key, const std::string& value) {
    return boost::algorithm::iequals(key, "Password") ? std::string("(not logged)") : value;
}

std::string stringFailure(const char* file, const std::string& section, const std::string& key,
                          const std::string& value) {
    return (boost::format("Could not write string to %s INI-file! (Section:%s Key:%s String:%s)") %
            file % section % key % loggableValue(key, value))
        .str();
}

std::string structFailure(const char* file, const std::string& section, const std::string& key) {
    return (boost::format("Could not write struct to %s INI-file! (Section:%s Key:%s)") % file %
            section % key)
        .str();
}

}  // namespace

bool CIniParser::writeStringToConfig(const std::string& section, const std::string& key,
                                     const std::string& value) {
    return storeEntry(m_configStore, section, key, value,
                      [&] { return stringFailure("config", section, key, value); });
}

bool CIniParser::writeStringToReport(const std::string& section, const std::string& key,
                                     const std::string& value) {
    return storeEntry(m_reportStore, section, key, value,
                      [&] { return stringFailure("report", section, key, value); });
}

bool CIniParser::writeStructToConfig(const std::string& section, const std::string& key,
                                     const void* data, std::size_t size) {
    return writeStruct(m_configStore, "config", section, key, data, size);
}

bool CIniParser::writeStructToReport(const std::string& section, const std::string& key,
                                     const void* data, std::size_t size) {
    return writeStruct(m_reportStore, "report", section, key, data, size);
}

bool CIniParser::writeStruct(CSimpleIniA& store, const char* file, const std::string& section,
                             const std::string& key, const void* data, std::size_t size) noexcept {
    try {
        std::string text;
        if (!encodeHex(data, size, text)) {
            m_pLogger->error(structFailure(file, section, key));
            return false;
        }
        return storeEntry(store, section, key, text,
                          [&] { return structFailure(file, section, key); });
    } catch (...) {
        return false;
    }
}
