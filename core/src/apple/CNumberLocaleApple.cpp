// Numbers in the "C" locale on macOS: a locale object of its own, and
// uselocale for the thread's formatting. macOS declares the calls that take
// a locale in xlocale.h, for the standard headers included before it.
#include <locale.h>
#include <stdlib.h>
// After the headers whose calls with a locale it adds.
#include <xlocale.h>

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
