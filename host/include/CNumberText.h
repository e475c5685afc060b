// Numbers read from text the way atoi/atof read them (leading blanks, the
// longest valid prefix, 0 when there is none), but always in the "C" locale:
// the simulator may set a locale whose decimal separator is a comma.
//
// Threads: any.
#pragma once

namespace CNumberText {

double toDouble(const char* text);
int toInt(const char* text);

}  // namespace CNumberText
