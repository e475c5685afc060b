// Files on Windows: UTF-8 names become the wide names Windows takes, and the
// replace is MoveFileEx's, written through to the disk. A file takes the
// rights of its folder, which in a pilot's user folder are the pilot's.
#include <windows.h>

#include "CFileAccess.h"
#include "WindowsText.h"

using windows::errorText;
using windows::lastErrorText;
using windows::wide;

namespace {

// Failures that may be gone a moment later: a virus scanner, the search
// indexer or a synced folder has the file open or mapped, or the disk is
// full for now.
bool mayPass(DWORD error) {
    switch (error) {
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
        case ERROR_USER_MAPPED_FILE:
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
        case ERROR_WRITE_PROTECT:
            return true;
        default:
            return false;
    }
}

}  // namespace

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

std::string CFileAccess::replaceOnce(const std::string& fileName, const std::string& data,
                                     bool& mayPassLater) {
    const std::string tempName = fileName + ".tmp";
    const std::wstring wideTemp = wide(tempName);
    const HANDLE file = CreateFileW(wideTemp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        mayPassLater = mayPass(error);
        return "cannot create " + tempName + ": " + errorText(error);
    }
    std::string failure;
    DWORD error = ERROR_SUCCESS;
    const char* next = data.data();
    std::size_t left = data.size();
    while (left > 0 && failure.empty()) {
        DWORD written = 0;
        const DWORD chunk = static_cast<DWORD>(left > 0x10000000u ? 0x10000000u : left);
        if (!WriteFile(file, next, chunk, &written, nullptr) || written == 0) {
            error = GetLastError();
            failure = "cannot write " + tempName + ": " + errorText(error);
        }
        next += written;
        left -= written;
    }
    if (failure.empty() && !FlushFileBuffers(file)) {
        error = GetLastError();
        failure = "cannot flush " + tempName + ": " + errorText(error);
    }
    if (!CloseHandle(file) && failure.empty()) {
        error = GetLastError();
        failure = "cannot close " + tempName + ": " + errorText(error);
    }
    // Replaces an existing file in one step, and returns only once the
    // rename is on the disk.
    if (failure.empty() && !MoveFileExW(wideTemp.c_str(), wide(fileName).c_str(),
                                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        error = GetLastError();
        failure = "cannot replace it: " + errorText(error);
    }
    if (!failure.empty()) {
        DeleteFileW(wideTemp.c_str());
        mayPassLater = mayPass(error);
    }
    return failure;
}

std::string CFileAccess::rename(const std::string& from, const std::string& to) {
    if (!MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_REPLACE_EXISTING)) {
        return lastErrorText();
    }
    return std::string();
}
