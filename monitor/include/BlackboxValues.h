// The flight recorder's comparable values: a number or a text that a rule
// compares with the aircraft's current value of the same kind.
#pragma once

#include <string>

#include "CLogger.h"

namespace Blackbox {

// Threads: the client thread only (the recorder refreshes and compares its
// values there).
//
// Both operands of a comparison are always of one class: an event creates its
// values to match its variable. Comparing or copying across the two classes
// is refused (false, value unchanged), never undefined.
class CValueBase {
public:
    static constexpr int kNumberClassId = 0;
    static constexpr int kStringClassId = 1;

    CValueBase() = default;
    CValueBase(const CValueBase&) = delete;
    virtual ~CValueBase();

    // Copies the other value into this one.
    virtual CValueBase& operator=(const CValueBase& other) = 0;
    // This value (left) against the other (right).
    virtual bool operator==(const CValueBase& other) const = 0;
    virtual bool operator!=(const CValueBase& other) const = 0;
    virtual bool operator>(const CValueBase& other) const = 0;
    virtual bool operator<(const CValueBase& other) const = 0;
    virtual bool operator>=(const CValueBase& other) const = 0;
    virtual bool operator<=(const CValueBase& other) const = 0;
    // From the rule file's text; see the classes for what a text may hold.
    virtual void setValue(std::string& text) = 0;
    // kNumberClassId or kStringClassId.
    virtual int getClassId() const = 0;
};

// Threads: the client thread only.
//
// Plain IEEE comparisons: == is false and != true when either side is NaN.
class CDoubleValue : public CValueBase {
public:
    CDoubleValue();
    ~CDoubleValue() override;

    CDoubleValue& operator=(const CValueBase& other) override;
    bool operator==(const CValueBase& other) const override;
    bool operator!=(const CValueBase& other) const override;
    bool operator>(const CValueBase& other) const override;
    bool operator<(const CValueBase& other) const override;
    bool operator>=(const CValueBase& other) const override;
    bool operator<=(const CValueBase& other) const override;
    // The whole text must be a decimal number; anything else (blanks or units
    // around it, an empty text) throws std::invalid_argument, which the
    // caller handles, and leaves the value as it was.
    void setValue(std::string& text) override;
    void setValue(double value) { m_value = value; }
    int getClassId() const override { return kNumberClassId; }
    double getValue() const { return m_value; }

private:
    // The other value when it is a number too; otherwise null, with the
    // warning "operator <op> failed!".
    const CDoubleValue* number(const CValueBase& other, const char* op) const;

    double m_value = 0.0;
    CLogger m_logger;
};

// Threads: the client thread only.
//
// Every text is lower-cased on the way in, so texts compare without regard to
// case. Texts have no order: <, >, <= and >= are always false, so a "less" or
// "greater" rule on a text never fires.
class CStringValue : public CValueBase {
public:
    CStringValue();
    ~CStringValue() override;

    CStringValue& operator=(const CValueBase& other) override;
    bool operator==(const CValueBase& other) const override;
    bool operator!=(const CValueBase& other) const override;
    bool operator>(const CValueBase&) const override { return false; }
    bool operator<(const CValueBase&) const override { return false; }
    bool operator>=(const CValueBase&) const override { return false; }
    bool operator<=(const CValueBase&) const override { return false; }
    // Lower-cases the text in place (the letters A to Z only, whatever the
    // locale) and keeps it.
    void setValue(std::string& text) override;
    int getClassId() const override { return kStringClassId; }
    std::string getValue() const { return m_value; }

private:
    // As CDoubleValue::number, for texts.
    const CStringValue* text(const CValueBase& other, const char* op) const;

    std::string m_value;
    CLogger m_logger;
};

}  // namespace Blackbox
