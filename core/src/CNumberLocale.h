// The "C" locale's number reading and the thread's switch to it, one
// implementation per operating system (CClassicFormatting's body too).
#pragma once

namespace CNumberText {

// end, when given, receives where the number ended, as strtod gives it.
double classicStrtod(const char* text, char** end = nullptr);
long classicStrtol(const char* text);

}  // namespace CNumberText
