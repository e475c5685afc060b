// Texts between the client's UTF-8 and Windows' wide characters, and
// Windows' own words for an error; for the Windows files behind the seams.
#pragma once

#include <windows.h>

#include <string>

namespace windows {

inline std::wstring wide(const std::string& utf8) {
    if (utf8.empty()) {
        return std::wstring();
    }
    const int size = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0);
    std::wstring out(static_cast<std::size_t>(length > 0 ? length : 0), L'\0');
    if (length > 0) {
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, &out[0], length);
    }
    return out;
}

// An error code in words, without the trailing line break.
inline std::string errorText(DWORD code) {
    char text[512] = {0};
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, code, MAKELANGID(LANG_ENGLISH, SUBLANG_DEFAULT), text,
                                  sizeof(text), nullptr);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r' ||
                          text[length - 1] == ' ' || text[length - 1] == '.')) {
        text[--length] = '\0';
    }
    return length > 0 ? std::string(text, length) : "error " + std::to_string(code);
}

// What GetLastError() holds, in words.
inline std::string lastErrorText() { return errorText(GetLastError()); }

}  // namespace windows
