// Numbers in the "C" locale on Windows: a locale object of its own for
// reading, and the thread's own numeric locale for formatting.
#include <locale.h>
#include <stdlib.h>

#include <string>

#include "../CNumberLocale.h"
#include "CNumberText.h"

namespace {

_locale_t cLocale() {
    // Made once, shared by every thread, never freed: it lives as long as the
    // plug-in does.
    static const _locale_t loc = _create_locale(LC_ALL, "C");
    return loc;
}

// The thread's setting before the switch, to go back to.
struct PreviousFormatting {
    int threadMode = 0;
    std::string numericLocale;
};

}  // namespace

namespace CNumberText {

double classicStrtod(const char* text, char** end) { return _strtod_l(text, end, cLocale()); }

long classicStrtol(const char* text) { return _strtol_l(text, nullptr, 10, cLocale()); }

CClassicFormatting::CClassicFormatting() : m_previous(nullptr) {
    auto* previous = new PreviousFormatting;
    // Only this thread's locale changes, never the simulator's.
    previous->threadMode = _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
    const char* numeric = setlocale(LC_NUMERIC, nullptr);
    previous->numericLocale = numeric != nullptr ? numeric : "C";
    setlocale(LC_NUMERIC, "C");
    m_previous = previous;
}

CClassicFormatting::~CClassicFormatting() {
    auto* previous = static_cast<PreviousFormatting*>(m_previous);
    setlocale(LC_NUMERIC, previous->numericLocale.c_str());
    _configthreadlocale(previous->threadMode);
    delete previous;
}

}  // namespace CNumberText
