// Files on Windows: UTF-8 names become the wide names Windows takes, and the
// replace is MoveFileEx's, written through to the disk.
#include <windows.h>

#include "CFileAccess.h"
#include "WindowsText.h"

using windows::lastErrorText;
using windows::wide;

std::FILE* CFileAccess::open(const std::string& fileName, const char* mode) {
    return _wfopen(wide(fileName).c_str(), wide(mode).c_str());
}

std::string CFileAccess::createEmpty(const std::string& fileName) {
    const HANDLE file = CreateFileW(wide(fileName).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return lastErrorText();
    }
    CloseHandle(file);
    return std::string();
}

std::string CFileAccess::replace(const std::string& fileName, const std::string& data) {
    const std::string tempName = fileName + ".tmp";
    const std::wstring wideTemp = wide(tempName);
    const HANDLE file = CreateFileW(wideTemp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return "cannot create " + tempName + ": " + lastErrorText();
    }
    std::string failure;
    const char* next = data.data();
    std::size_t left = data.size();
    while (left > 0 && failure.empty()) {
        DWORD written = 0;
        const DWORD chunk = static_cast<DWORD>(left > 0x10000000u ? 0x10000000u : left);
        if (!WriteFile(file, next, chunk, &written, nullptr) || written == 0) {
            failure = "cannot write " + tempName + ": " + lastErrorText();
        }
        next += written;
        left -= written;
    }
    if (failure.empty() && !FlushFileBuffers(file)) {
        failure = "cannot flush " + tempName + ": " + lastErrorText();
    }
    if (!CloseHandle(file) && failure.empty()) {
        failure = "cannot close " + tempName + ": " + lastErrorText();
    }
    // Replaces an existing file in one step, and returns only once the
    // rename is on the disk.
    if (failure.empty() && !MoveFileExW(wideTemp.c_str(), wide(fileName).c_str(),
                                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        failure = "cannot replace it: " + lastErrorText();
    }
    if (!failure.empty()) {
        DeleteFileW(wideTemp.c_str());
    }
    return failure;
}

std::string CFileAccess::rename(const std::string& from, const std::string& to) {
    if (!MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_REPLACE_EXISTING)) {
        return lastErrorText();
    }
    return std::string();
}
