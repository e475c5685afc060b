// Numbers in the "C" locale on Linux and macOS: a locale object of its own,
// and uselocale for the thread's formatting.
#include <locale.h>
#include <stdlib.h>
// macOS declares the calls that take a locale there, after the standard
// headers; the C library of Linux has them in the standard headers.
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

#include "../CNumberLocale.h"
#include "CNumberText.h"

namespace {

locale_t cLocale() {
    // Made once, shared by every thread, never freed: it lives as long as the
    // plug-in does.
    static const locale_t loc = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return loc;
}

}  // namespace

namespace CNumberText {

double classicStrtod(const char* text, char** end) { return strtod_l(text, end, cLocale()); }

long classicStrtol(const char* text) { return strtol_l(text, nullptr, 10, cLocale()); }

CClassicFormatting::CClassicFormatting() : m_previous(uselocale(cLocale())) {}

CClassicFormatting::~CClassicFormatting() { uselocale(static_cast<locale_t>(m_previous)); }

}  // namespace CNumberText
