// Locale-independent atoi/atof.
#include "CNumberText.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>

#include "CNumberLocale.h"

namespace CNumberText {

double toDouble(const char* text) {
    if (text == nullptr) {
        return 0.0;
    }
    return classicStrtod(text);
}

int toInt(const char* text) {
    if (text == nullptr) {
        return 0;
    }
    const long value = classicStrtol(text);
    if (value > INT_MAX) {
        return INT_MAX;
    }
    if (value < INT_MIN) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

bool toIntInRange(const char* text, int& out) {
    if (text == nullptr) {
        out = 0;
        return true;
    }
    // Leading blanks and a plus sign, as atoi takes them; from_chars takes
    // neither, and reads digits the same in every locale.
    while (std::isspace(static_cast<unsigned char>(*text))) {
        ++text;
    }
    if (*text == '+' && text[1] != '-') {
        ++text;
    }
    int value = 0;
    const auto [end, error] = std::from_chars(text, text + std::strlen(text), value);
    if (error == std::errc::result_out_of_range) {
        return false;
    }
    out = end == text ? 0 : value;
    return true;
}

bool toDoubleWhole(std::string_view text, double& value) {
    // Digits, signs, a point and exponents only: no blanks, no hex, no words
    // such as "inf"; the reader below then has to take every character.
    if (text.empty() ||
        text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) {
        return false;
    }
    const std::string whole(text);
    char* end = nullptr;
    errno = 0;
    const double read = classicStrtod(whole.c_str(), &end);
    // Too large for a double is refused; too small reads as the nearest
    // value a double holds, down to 0.
    if (end != whole.c_str() + whole.size() || (errno == ERANGE && std::isinf(read))) {
        return false;
    }
    value = read;
    return true;
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

}  // namespace CNumberText
