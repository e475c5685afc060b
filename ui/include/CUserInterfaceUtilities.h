// Two small helpers of the screens: cutting a text to a width with a mark,
// and hiding every control a screen may have shown.
#pragma once

#include <cstddef>

class CObjectManager;

// Threads: the client thread (the screens and the workflow).
class CUserInterfaceUtilities {
public:
    // The text cut to length characters: unchanged when shorter; otherwise
    // ended at length, with mark in its last place unless mark is the
    // character '0' (which leaves the cut unmarked). The result lives in
    // this object's buffer until the next call.
    const char* cutString(const char* text, std::size_t length, char mark);
    // Hides every control a screen shows, by id; "Exit" (id 0) keeps its
    // visibility until a screen hides it itself.
    static void hideAllObjects(CObjectManager& objects);

private:
    static constexpr std::size_t kBufferSize = 3200;
    char m_buffer[kBufferSize + 1] = {0};
};
