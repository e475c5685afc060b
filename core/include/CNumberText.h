// Numbers read from text the way atoi/atof read them (leading blanks, the
// longest valid prefix, 0 when there is none), but always in the "C" locale:
// the simulator may set a locale whose decimal separator is a comma.
//
// Threads: any.
#pragma once

#include <string_view>

namespace CNumberText {

double toDouble(const char* text);
int toInt(const char* text);
// The whole number at the start of text, read as toInt reads it; false, out
// untouched, when that number lies beyond int's range (where toInt gives the
// nearest bound and atoi is undefined).
bool toIntInRange(const char* text, int& out);

// The whole text as one decimal number ("250", "-0.5", "+1e3"), in the "C"
// locale, or false with value untouched: nothing may stand around it, not
// even a blank, and a number beyond what a double holds is refused.
bool toDoubleWhole(std::string_view text, double& value);

// value cut toward zero, as a cast to int would cut it; false, with out
// untouched, for NaN, the infinities and anything beyond int's range, where
// the cast is undefined.
bool truncateToInt(double value, int& out);

// While it lives, printf-style formatting on this thread writes numbers in
// the "C" locale (a point as decimal separator), whatever the simulator set.
class CClassicFormatting {
public:
    CClassicFormatting();
    ~CClassicFormatting();
    CClassicFormatting(const CClassicFormatting&) = delete;
    CClassicFormatting& operator=(const CClassicFormatting&) = delete;

private:
    // What the thread formatted with before, as the system keeps it.
    void* m_previous;
};

}  // namespace CNumberText
