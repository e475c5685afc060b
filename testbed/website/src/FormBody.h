// The client's request bodies: cut into pairs as sent (the client escapes
// nothing), and the three-character code that seals its writing requests.
#pragma once

#include <string>

// findFormValue() reads a field of the pairs.
#include "testbed/ControlForm.h"
#include "testbed/Website.h"

namespace testbed {

// Splits on '&' and on the first '=' of each piece; values stay verbatim. A
// piece without '=' is a key with an empty value.
FormFields parseFormBody(const std::string& body);

// MD5 of text as 32 lower-case hexadecimal digits.
std::string md5Hex(const std::string& text);

// The code the client appends as "&code=": digits 10, 5 and 2 of the MD5 of
// the text before it.
std::string requestCode(const std::string& textBeforeCode);

// True when body ends with "&code=" and the code of the text before it.
bool hasValidRequestCode(const std::string& body);

}  // namespace testbed
