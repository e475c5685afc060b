// Locale-independent atoi/atof.
#include "CNumberText.h"

#include <locale.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

locale_t cLocale() {
    // Made once, shared by every thread, never freed: it lives as long as the
    // plug-in does.
    static const locale_t loc = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return loc;
}

}  // namespace

namespace CNumberText {

double toDouble(const char* text) {
    if (text == nullptr) {
        return 0.0;
    }
    return strtod_l(text, nullptr, cLocale());
}

int toInt(const char* text) {
    if (text == nullptr) {
        return 0;
    }
    const long value = strtol_l(text, nullptr, 10, cLocale());
    if (value > INT_MAX) {
        return INT_MAX;
    }
    if (value < INT_MIN) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

bool truncateToInt(double value, int& out) {
    // Both bounds are exact doubles; everything strictly between them cuts
    // to an int.
    if (!(value > static_cast<double>(INT_MIN) - 1.0 &&
          value < static_cast<double>(INT_MAX) + 1.0)) {
        return false;
    }
    out = static_cast<int>(value);
    return true;
}

CClassicFormatting::CClassicFormatting() : m_previous(uselocale(cLocale())) {}

CClassicFormatting::~CClassicFormatting() { uselocale(m_previous); }

}  // namespace CNumberText
