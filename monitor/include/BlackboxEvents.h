// The flight recorder's rules, each built from one element of the rule file:
// a value rule, a combination of value rules and the start-of-flight rule.
#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "BlackboxValues.h"
#include "CLogger.h"

namespace pugi {
class xml_node;
}

namespace Blackbox {

class CBlackbox;

// Threads: the client thread only (built by the recorder's rule file reader,
// evaluated by its check cycle).
//
// What every rule has: the text it logs, the sound it plays and whether it
// may fire more than once. A rule that is not multiple fires once per flight:
// the recorder drops it after it fired.
class CEventBase {
public:
    virtual ~CEventBase();
    CEventBase(const CEventBase&) = delete;
    CEventBase& operator=(const CEventBase&) = delete;

    // At flight start, after the recorder refreshed its current data.
    virtual void init() = 0;
    // True when the rule fires now. level true: whenever the condition holds;
    // false: only when it has just become true.
    virtual bool check(bool level) = 0;

    // Empty when the rule logs nothing.
    const std::string& getOutput() const { return m_text; }
    // Empty when the rule plays nothing.
    const std::string& getSound() const { return m_sound; }
    bool isMultiple() const { return m_bMultiple; }
    // Empty for a rule that was built. Otherwise the "value" that kept it
    // from being built, as the rule file gives it: such a rule is half made
    // and must not be checked; the rule file reader reports it and leaves it
    // out. (No exception: a rule file full of bad values costs no more to
    // read than a good one.)
    const std::string& getBadValue() const { return m_badValue; }

protected:
    explicit CEventBase(const char* loggerName);
    // "text", "sound" and "multiple" (true only for exactly "1").
    void readCommon(const pugi::xml_node& node);
    // The debug line's part for them: ` text="..." sound="..." multiple=0`.
    std::string describeCommon() const;

    CLogger m_logger;
    std::string m_text;
    std::string m_sound;
    bool m_bMultiple = false;
    bool m_bLastResult = false;
    std::string m_badValue;
};

// Threads: the client thread only.
//
// Compares one variable of the recorder's current data with the rule's value:
// 0 equal, 1 less, 2 greater. "Equal" also fires when the variable stepped
// over the value between two samples, so a fast-changing number cannot slip
// past it.
class CValueEvent : public CEventBase {
public:
    enum Method { kEqual = 0, kLess = 1, kGreater = 2 };

    // Binds the variable inside blackbox's current data (blackbox must not be
    // null); flightState is the aircraft record's phase, read at every check.
    // A "value" that is not a number for a numeric variable is a bad value
    // (getBadValue).
    CValueEvent(const pugi::xml_node* node, CBlackbox* blackbox, bool debug, int& flightState);
    ~CValueEvent() override;

    // Arms the crossing memory of a number with the current value.
    void init() override;
    bool check(bool level) override;

private:
    // The rule's own values live inside it: a rule file holds hundreds of
    // rules, rebuilt every flight, and two allocations more per rule would
    // cost more than building the rest of it.
    using tValue = std::variant<CDoubleValue, CStringValue>;
    static CValueBase& valueIn(tValue& value);

    int m_method = kEqual;
    // Inside the recorder's current data; not owned.
    CValueBase* m_pCurrent = nullptr;
    tValue m_ruleValue;
    // The variable at the previous evaluation.
    tValue m_previous;
    // Phase number, or -1 for every phase.
    int m_stateFilter = -1;
    int& m_rFlightState;
    CBlackbox* m_pBlackbox;
};

// Threads: the client thread only.
//
// Fires once when all of its value rules hold together, and again only after
// at least one of them has been false. The children are evaluated in order
// and the first false one ends the cycle: the ones after it are not evaluated
// and keep their crossing memory.
class CCombinationEvent : public CEventBase {
public:
    // A child's bad value is the combination's: a combination that lost one
    // of its conditions would fire where the airline did not want it, so
    // the whole combination is left out.
    CCombinationEvent(const pugi::xml_node* node, CBlackbox* blackbox, bool debug,
                      int& flightState);
    ~CCombinationEvent() override;

    void init() override;
    // Always reports edges, whatever level says.
    bool check(bool level) override;

private:
    std::vector<std::unique_ptr<CValueEvent>> m_children;
};

// Threads: the client thread only.
//
// Fires in the first check after it was built and, never being multiple, is
// then dropped: a line and a sound at the start of each flight.
class CStartFlightEvent : public CEventBase {
public:
    CStartFlightEvent(const pugi::xml_node* node, CBlackbox* blackbox, bool debug,
                      int& flightState);
    ~CStartFlightEvent() override;

    void init() override {}
    bool check(bool) override { return true; }
};

}  // namespace Blackbox
