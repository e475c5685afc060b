// Building the recorder's rules from their rule file elements and evaluating
// them once per check cycle.
#include "BlackboxEvents.h"

#include <cstring>
#include <iterator>
#include <pugixml.hpp>

#include "CBlackbox.h"
#include "CFlightState.h"
#include "CLogger.h"
#include "CNumberText.h"

namespace Blackbox {

namespace {

const char* methodName(int method) {
    switch (method) {
        case CValueEvent::kGreater:
            return "greater";
        case CValueEvent::kLess:
            return "less";
        default:
            return "equal";
    }
}

}  // namespace

// --- common part ---

// The rules are rebuilt every flight; their loggers write no "Init:"/"Delete:"
// lines.
CEventBase::CEventBase(const char* loggerName) : m_logger(loggerName, false) {}

CEventBase::~CEventBase() = default;

void CEventBase::readCommon(const pugi::xml_node& node) {
    m_text = node.attribute("text").as_string();
    m_sound = node.attribute("sound").as_string();
    m_bMultiple = std::strcmp(node.attribute("multiple").as_string(), "1") == 0;
}

std::string CEventBase::describeCommon() const {
    return " text=\"" + m_text + "\" sound=\"" + m_sound +
           "\" multiple=" + (m_bMultiple ? "1" : "0");
}

// --- value rule ---

CValueEvent::CValueEvent(const pugi::xml_node* node, CBlackbox* blackbox, bool debug,
                         int& flightState)
    : CEventBase("CEventBase"), m_rFlightState(flightState), m_pBlackbox(blackbox) {
    const pugi::xml_node element = node != nullptr ? *node : pugi::xml_node();
    readCommon(element);

    std::string variable = element.attribute("var").as_string();
    for (char& c : variable) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    tCurrentData* data = m_pBlackbox->getCurrentData();
    m_pCurrent = data->find(variable);
    if (m_pCurrent == nullptr) {
        // An unknown or missing variable is no error: it watches the speed.
        variable = "ias";
        m_pCurrent = &data->ias;
    }
    if (m_pCurrent->getClassId() == CValueBase::kStringClassId) {
        m_ruleValue.emplace<CStringValue>();
        m_previous.emplace<CStringValue>();
    }

    std::string value = element.attribute("value").as_string();
    if (value.empty()) {
        value = "0";
    }
    if (CDoubleValue* number = std::get_if<CDoubleValue>(&m_ruleValue)) {
        double read = 0.0;
        if (!CNumberText::toDoubleWhole(value, read)) {
            m_badValue = value;
            return;
        }
        number->setValue(read);
    } else {
        valueIn(m_ruleValue).setValue(value);
    }

    m_stateFilter = CFlightState::stringToState(element.attribute("flightstate").as_string());

    const char* method = element.attribute("method").as_string();
    m_method = std::strcmp(method, "greater") == 0 ? kGreater
               : std::strcmp(method, "less") == 0  ? kLess
                                                   : kEqual;

    std::string zero = "0";
    valueIn(m_previous).setValue(zero);

    if (debug) {
        m_logger.debug("<event" + describeCommon() + " var=" + variable + " value=" + value +
                       " flightstate=" + CFlightState::stateToString(m_stateFilter) +
                       " method=" + methodName(m_method) + ">");
    }
}

CValueEvent::~CValueEvent() = default;

CValueBase& CValueEvent::valueIn(tValue& value) {
    if (CDoubleValue* number = std::get_if<CDoubleValue>(&value)) {
        return *number;
    }
    return std::get<CStringValue>(value);
}

void CValueEvent::init() {
    // A text has no crossing to remember.
    if (std::holds_alternative<CDoubleValue>(m_previous)) {
        valueIn(m_previous) = *m_pCurrent;
    }
}

bool CValueEvent::check(bool level) {
    const bool wasTrue = m_bLastResult;
    if (m_stateFilter >= 0 && m_stateFilter != m_rFlightState) {
        // Outside its phase the rule re-arms; the crossing memory waits.
        m_bLastResult = false;
        return false;
    }
    const CValueBase& current = *m_pCurrent;
    const CValueBase& rule = valueIn(m_ruleValue);
    CValueBase& previous = valueIn(m_previous);
    bool result = false;
    switch (m_method) {
        case kLess:
            result = current < rule;
            break;
        case kGreater:
            result = current > rule;
            break;
        default:
            result = (current >= rule && previous < rule) || (current <= rule && previous > rule) ||
                     current == rule;
            break;
    }
    m_bLastResult = result;
    previous = current;
    return level ? result : result && !wasTrue;
}

// --- combination ---

CCombinationEvent::CCombinationEvent(const pugi::xml_node* node, CBlackbox* blackbox, bool debug,
                                     int& flightState)
    : CEventBase("CEventCombination") {
    const pugi::xml_node element = node != nullptr ? *node : pugi::xml_node();
    readCommon(element);
    if (debug) {
        m_logger.debug("<combination" + describeCommon() + ">");
    }
    const auto children = element.children("event");
    m_children.reserve(static_cast<std::size_t>(std::distance(children.begin(), children.end())));
    for (const pugi::xml_node child : children) {
        m_children.push_back(std::make_unique<CValueEvent>(&child, blackbox, debug, flightState));
        if (!m_children.back()->getBadValue().empty()) {
            m_badValue = m_children.back()->getBadValue();
            return;
        }
    }
    if (debug) {
        m_logger.debug("</combination>");
    }
}

CCombinationEvent::~CCombinationEvent() = default;

void CCombinationEvent::init() {
    for (const std::unique_ptr<CValueEvent>& child : m_children) {
        child->init();
    }
}

bool CCombinationEvent::check(bool) {
    for (const std::unique_ptr<CValueEvent>& child : m_children) {
        if (!child->check(true)) {
            m_bLastResult = false;
            return false;
        }
    }
    if (m_bLastResult) {
        return false;
    }
    m_bLastResult = true;
    return true;
}

// --- start of flight ---

CStartFlightEvent::CStartFlightEvent(const pugi::xml_node* node, CBlackbox*, bool debug, int&)
    : CEventBase("CStartFlightEvent") {
    const pugi::xml_node element = node != nullptr ? *node : pugi::xml_node();
    readCommon(element);
    m_bMultiple = false;
    if (debug) {
        m_logger.debug("<startflight text=\"" + m_text + "\" sound=\"" + m_sound + "\">");
    }
}

CStartFlightEvent::~CStartFlightEvent() = default;

}  // namespace Blackbox
