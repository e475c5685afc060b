// Cutting texts for the screens and hiding every screen's controls.
#include "CUserInterfaceUtilities.h"

#include <cstring>

#include "CObjectManager.h"

const char* CUserInterfaceUtilities::cutString(const char* text, std::size_t length, char mark) {
    const char* source = text != nullptr ? text : "";
    std::strncpy(m_buffer, source, kBufferSize);
    m_buffer[kBufferSize] = '\0';
    if (std::strlen(m_buffer) < length) {
        return m_buffer;
    }
    if (length == 0) {
        m_buffer[0] = '\0';
        return m_buffer;
    }
    if (mark != '0') {
        m_buffer[length - 1] = mark;
    }
    m_buffer[length] = '\0';
    return m_buffer;
}

void CUserInterfaceUtilities::hideAllObjects(CObjectManager& objects) {
    static const int kScreenObjects[] = {3,   4,   5,   11,  6,   8,   9,   10,  17,  18,  14,
                                         15,  16,  19,  20,  21,  22,  23,  24,  25,  26,  101,
                                         102, 201, 202, 203, 204, 205, 301, 401, 103, 104, 105,
                                         106, 107, 108, 109, 110, 111, 112, 113, 114, 115, 28};
    for (int id : kScreenObjects) {
        objects.show(id, false);
    }
}
