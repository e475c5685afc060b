// The "C" locale's number reading and the thread's switch to it, one
// implementation per operating system (CClassicFormatting's body too).
#pragma once

namespace CNumberText {

double classicStrtod(const char* text);
long classicStrtol(const char* text);

}  // namespace CNumberText
