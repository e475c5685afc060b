// The flight recorder's values: numbers read strictly from the rule file and
// texts that compare without regard to case.
#include "BlackboxValues.h"

#include <exception>
#include <stdexcept>

#include "CNumberText.h"

namespace Blackbox {

CValueBase::~CValueBase() = default;

// --- numbers ---

// The values are many and short-lived (two per rule, rebuilt every flight), so
// their loggers write no "Init:"/"Delete:" lines.
CDoubleValue::CDoubleValue() : m_logger("CDoubleValue", false) {}

CDoubleValue::~CDoubleValue() = default;

const CDoubleValue* CDoubleValue::number(const CValueBase& other, const char* op) const {
    if (other.getClassId() != kNumberClassId) {
        m_logger.warn(std::string("operator ") + op + " failed!");
        return nullptr;
    }
    return static_cast<const CDoubleValue*>(&other);
}

CDoubleValue& CDoubleValue::operator=(const CValueBase& other) {
    if (const CDoubleValue* right = number(other, "=")) {
        m_value = right->m_value;
    }
    return *this;
}

bool CDoubleValue::operator==(const CValueBase& other) const {
    const CDoubleValue* right = number(other, "==");
    return right != nullptr && m_value == right->m_value;
}

bool CDoubleValue::operator!=(const CValueBase& other) const {
    const CDoubleValue* right = number(other, "!=");
    return right != nullptr && m_value != right->m_value;
}

bool CDoubleValue::operator>(const CValueBase& other) const {
    const CDoubleValue* right = number(other, ">");
    return right != nullptr && m_value > right->m_value;
}

bool CDoubleValue::operator<(const CValueBase& other) const {
    const CDoubleValue* right = number(other, "<");
    return right != nullptr && m_value < right->m_value;
}

bool CDoubleValue::operator>=(const CValueBase& other) const {
    const CDoubleValue* right = number(other, ">=");
    return right != nullptr && m_value >= right->m_value;
}

bool CDoubleValue::operator<=(const CValueBase& other) const {
    const CDoubleValue* right = number(other, "<=");
    return right != nullptr && m_value <= right->m_value;
}

void CDoubleValue::setValue(std::string& text) {
    if (!CNumberText::toDoubleWhole(text, m_value)) {
        throw std::invalid_argument(text);
    }
}

// --- texts ---

CStringValue::CStringValue() : m_logger("CStringValue", false) {}

CStringValue::~CStringValue() = default;

const CStringValue* CStringValue::text(const CValueBase& other, const char* op) const {
    if (other.getClassId() != kStringClassId) {
        m_logger.warn(std::string("operator ") + op + " failed!");
        return nullptr;
    }
    return static_cast<const CStringValue*>(&other);
}

CStringValue& CStringValue::operator=(const CValueBase& other) {
    try {
        if (const CStringValue* right = text(other, "=")) {
            m_value = right->m_value;
        }
    } catch (const std::exception&) {
        m_logger.warn("operator = failed!");
    }
    return *this;
}

bool CStringValue::operator==(const CValueBase& other) const {
    try {
        const CStringValue* right = text(other, "==");
        return right != nullptr && m_value == right->m_value;
    } catch (const std::exception&) {
        m_logger.warn("operator == failed!");
        return false;
    }
}

bool CStringValue::operator!=(const CValueBase& other) const {
    try {
        const CStringValue* right = text(other, "!=");
        return right != nullptr && m_value != right->m_value;
    } catch (const std::exception&) {
        m_logger.warn("operator != failed!");
        return false;
    }
}

void CStringValue::setValue(std::string& text) {
    // Only A to Z: a locale's idea of case must not change the bytes of a
    // UTF-8 text.
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    m_value = text;
}

}  // namespace Blackbox
