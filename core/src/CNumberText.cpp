// Locale-independent atoi/atof.
#include "CNumberText.h"

#include <charconv>
#include <climits>
#include <system_error>

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

bool toDoubleWhole(std::string_view text, double& value) {
    const char* first = text.data();
    const char* const last = first + text.size();
    // The standard reader takes a minus but no plus; a plus takes no second sign.
    if (first != last && *first == '+') {
        ++first;
        if (first != last && (*first == '+' || *first == '-')) {
            return false;
        }
    }
    double read = 0.0;
    const std::from_chars_result result = std::from_chars(first, last, read);
    if (result.ec != std::errc() || result.ptr != last) {
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
