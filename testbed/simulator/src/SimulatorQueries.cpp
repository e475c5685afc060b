// What tests see and do through the Simulator API: dataref values, the
// widget tree and the user's clicks, menus, hot keys and captured output.
#include <algorithm>
#include <stdexcept>

#include "SimulatorState.h"
#include "testbed/Simulator.h"

namespace testbed {

using namespace detail;

namespace {

// Tests name datarefs by hand; a typo or a wrong type is a fault in the test,
// so it throws rather than reading 0 the way the SDK would.
DataRef& dataRefFor(State& s, const std::string& name, int type, const char* operation) {
    const auto found = s.dataRefsByName.find(name);
    if (found == s.dataRefsByName.end()) {
        throw std::invalid_argument(std::string("testbed::Simulator::") + operation +
                                    ": unknown dataref " + name);
    }
    if ((found->second->types & type) == 0) {
        throw std::invalid_argument(std::string("testbed::Simulator::") + operation + ": " + name +
                                    " has types " + std::to_string(found->second->types));
    }
    return *found->second;
}

bool shownOnScreen(const State& s, XPWidgetID widget) {
    for (XPWidgetID current = widget; current != nullptr;) {
        const auto found = s.widgets.find(current);
        if (found == s.widgets.end() || !found->second.visible) {
            return false;
        }
        current = found->second.parent;
    }
    return widget != nullptr;
}

const Widget* widgetFor(const State& s, XPWidgetID widget) {
    const auto found = s.widgets.find(widget);
    return found == s.widgets.end() ? nullptr : &found->second;
}

intptr_t propertyOf(const Widget& widget, int property) {
    const auto found = widget.properties.find(property);
    return found == widget.properties.end() ? 0 : found->second;
}

// A widget is enabled until it is told otherwise; X-Plane sends a disabled
// one no clicks and no typing.
bool enabledFor(const State& s, XPWidgetID id) {
    const auto found = s.widgets.find(id);
    if (found == s.widgets.end()) return false;
    const auto property = found->second.properties.find(xpProperty_Enabled);
    return property == found->second.properties.end() || property->second != 0;
}

const Menu* menuNamed(const State& s, const std::string& name) {
    for (const auto& entry : s.menus) {
        if (entry.second.name == name) {
            return &entry.second;
        }
    }
    return nullptr;
}

}  // namespace

bool Simulator::hasDataRef(const std::string& name) const {
    return state().dataRefsByName.count(name) != 0;
}

int Simulator::dataRefTypes(const std::string& name) const {
    const auto found = state().dataRefsByName.find(name);
    return found == state().dataRefsByName.end() ? 0 : found->second->types;
}

std::vector<std::pair<std::string, int>> Simulator::dataRefTable() const {
    std::vector<std::pair<std::string, int>> table;
    for (const auto& ref : state().dataRefs) {
        table.emplace_back(ref->name, ref->types);
        if (!ref->formerName.empty()) {
            table.emplace_back(ref->formerName, ref->types);
        }
    }
    return table;
}

void Simulator::hideDataRef(const std::string& name) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().hiddenDataRefs.insert(name);
}

int Simulator::dataRefArraySize(const std::string& name) const {
    const auto found = state().dataRefsByName.find(name);
    return found == state().dataRefsByName.end() ? 0 : found->second->arraySize;
}

bool Simulator::isDataRefWritable(const std::string& name) const {
    const auto found = state().dataRefsByName.find(name);
    return found != state().dataRefsByName.end() && found->second->writable;
}

void Simulator::setInt(const std::string& name, int value) {
    std::lock_guard<std::mutex> lock(state().mutex);
    dataRefFor(state(), name, xplmType_Int, "setInt").value.intValue = value;
}

void Simulator::setFloat(const std::string& name, float value) {
    std::lock_guard<std::mutex> lock(state().mutex);
    dataRefFor(state(), name, xplmType_Float, "setFloat").value.realValue = value;
}

void Simulator::setDouble(const std::string& name, double value) {
    std::lock_guard<std::mutex> lock(state().mutex);
    dataRefFor(state(), name, xplmType_Double, "setDouble").value.realValue = value;
}

void Simulator::setFloatArray(const std::string& name, const std::vector<float>& values) {
    std::lock_guard<std::mutex> lock(state().mutex);
    DataRef& ref = dataRefFor(state(), name, xplmType_FloatArray, "setFloatArray");
    if (values.size() > static_cast<size_t>(ref.arraySize)) {
        throw std::invalid_argument("testbed::Simulator::setFloatArray: " + name + " holds " +
                                    std::to_string(ref.arraySize) + " values, not " +
                                    std::to_string(values.size()));
    }
    // Leading elements; the rest keep their values.
    std::copy(values.begin(), values.end(), ref.value.floats.begin());
}

void Simulator::setBytes(const std::string& name, const std::string& bytes) {
    std::lock_guard<std::mutex> lock(state().mutex);
    DataRef& ref = dataRefFor(state(), name, xplmType_Data, "setBytes");
    if (bytes.size() > static_cast<size_t>(ref.arraySize)) {
        throw std::invalid_argument("testbed::Simulator::setBytes: " + name + " holds " +
                                    std::to_string(ref.arraySize) + " bytes");
    }
    ref.value.bytes = bytes;
    ref.value.bytes.resize(static_cast<size_t>(ref.arraySize), '\0');
}

int Simulator::getInt(const std::string& name) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return dataRefFor(state(), name, xplmType_Int, "getInt").value.intValue;
}

bool Simulator::isFailed(const std::string& failureDataRef) const {
    constexpr int kInoperative = 6;
    return getInt(failureDataRef) == kInoperative;
}

float Simulator::getFloat(const std::string& name) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return static_cast<float>(
        dataRefFor(state(), name, xplmType_Float, "getFloat").value.realValue);
}

double Simulator::getDouble(const std::string& name) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return dataRefFor(state(), name, xplmType_Double, "getDouble").value.realValue;
}

std::vector<float> Simulator::getFloatArray(const std::string& name) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return dataRefFor(state(), name, xplmType_FloatArray, "getFloatArray").value.floats;
}

std::string Simulator::getBytes(const std::string& name) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    const std::string& bytes = dataRefFor(state(), name, xplmType_Data, "getBytes").value.bytes;
    // The data datarefs here are strings: up to the terminating zero.
    return bytes.substr(0, bytes.find('\0'));
}

std::vector<DataRefMisuse> Simulator::dataRefMisuses() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().dataRefMisuses;
}

std::vector<std::string> Simulator::threadViolations() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().threadViolations;
}

std::vector<std::string> Simulator::sdkMisuses() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().sdkMisuses;
}

std::vector<WidgetInfo> Simulator::widgets() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    std::vector<WidgetInfo> infos;
    for (const auto& [id, widget] : state().widgets) {
        WidgetInfo info;
        info.id = id;
        info.widgetClass = widget.widgetClass;
        info.descriptor = widget.descriptor;
        info.left = widget.left;
        info.top = widget.top;
        info.right = widget.right;
        info.bottom = widget.bottom;
        info.visible = widget.visible;
        info.isRoot = widget.isRoot;
        info.parent = widget.parent;
        infos.push_back(std::move(info));
    }
    return infos;
}

XPWidgetID Simulator::findWidgetByDescriptor(const std::string& descriptor) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    for (const auto& [id, widget] : state().widgets) {
        if (widget.descriptor == descriptor) {
            return id;
        }
    }
    return nullptr;
}

bool Simulator::isWidgetVisible(XPWidgetID widget) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    const Widget* found = widgetFor(state(), widget);
    return found != nullptr && found->visible;
}

bool Simulator::isWidgetShownOnScreen(XPWidgetID widget) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return shownOnScreen(state(), widget);
}

intptr_t Simulator::widgetProperty(XPWidgetID widget, int property, bool* exists) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    const Widget* found = widgetFor(state(), widget);
    const bool has = found != nullptr && found->properties.count(property) != 0;
    if (exists != nullptr) {
        *exists = has;
    }
    return has ? found->properties.at(property) : 0;
}

bool Simulator::pressButton(const std::string& caption) {
    requireSimulatorThread("pressButton");
    XPWidgetID button = nullptr;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        for (const auto& [id, widget] : state().widgets) {
            if (widget.widgetClass == xpWidgetClass_Button && widget.descriptor == caption &&
                shownOnScreen(state(), id) && enabledFor(state(), id)) {
                button = id;
                break;
            }
        }
    }
    return button != nullptr && clickButton(button);
}

bool Simulator::pressButton(XPWidgetID button) {
    requireSimulatorThread("pressButton");
    return clickButton(button);
}

bool Simulator::clickButton(XPWidgetID button) {
    requireSimulatorThread("clickButton");
    int message = xpMsg_PushButtonPressed;
    intptr_t newState = 0;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        auto found = state().widgets.find(button);
        if (found == state().widgets.end() || found->second.widgetClass != xpWidgetClass_Button ||
            !shownOnScreen(state(), button) || !enabledFor(state(), button)) {
            return false;
        }
        // What a click does is the button's behaviour; its type only draws it.
        Widget& widget = found->second;
        const intptr_t oldState = propertyOf(widget, xpProperty_ButtonState);
        switch (propertyOf(widget, xpProperty_ButtonBehavior)) {
            case xpButtonBehaviorCheckBox:
                newState = oldState != 0 ? 0 : 1;
                widget.properties[xpProperty_ButtonState] = newState;
                message = xpMsg_ButtonStateChanged;
                break;
            case xpButtonBehaviorRadioButton:
                if (oldState == 1) {
                    return true;  // already on: nothing changes, nothing is sent
                }
                newState = 1;
                widget.properties[xpProperty_ButtonState] = newState;
                message = xpMsg_ButtonStateChanged;
                break;
            default:
                break;  // a push button's state is left as it is
        }
    }
    dispatchUpChain(button, message, reinterpret_cast<intptr_t>(button), newState);
    return true;
}

bool Simulator::typeInto(XPWidgetID textField, const std::string& text) {
    requireSimulatorThread("typeInto");
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        auto found = state().widgets.find(textField);
        // Only a field the user can see takes typing.
        if (found == state().widgets.end() ||
            found->second.widgetClass != xpWidgetClass_TextField ||
            !shownOnScreen(state(), textField) || !enabledFor(state(), textField)) {
            return false;
        }
        found->second.descriptor = text;
    }
    dispatchDirect(textField, kMsgDescriptorChanged, 0, 0);
    dispatchUpChain(textField, kMsgTextFieldChanged, reinterpret_cast<intptr_t>(textField), 0);
    return true;
}

bool Simulator::pushCloseBox(XPWidgetID mainWindow) {
    requireSimulatorThread("pushCloseBox");
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        const Widget* found = widgetFor(state(), mainWindow);
        // The close box is drawn only when the window asks for it.
        if (found == nullptr || found->widgetClass != xpWidgetClass_MainWindow ||
            propertyOf(*found, xpProperty_MainWindowHasCloseBoxes) == 0 ||
            !shownOnScreen(state(), mainWindow)) {
            return false;
        }
    }
    dispatchUpChain(mainWindow, xpMessage_CloseButtonPushed, reinterpret_cast<intptr_t>(mainWindow),
                    0);
    return true;
}

std::vector<std::string> Simulator::menuNames() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    std::vector<std::string> names;
    for (const auto& entry : state().menus) {
        names.push_back(entry.second.name);
    }
    return names;
}

std::vector<std::string> Simulator::menuItems(const std::string& menuName) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    std::vector<std::string> names;
    if (const Menu* menu = menuNamed(state(), menuName)) {
        for (const MenuItem& item : menu->items) {
            names.push_back(item.name);
        }
    }
    return names;
}

bool Simulator::isMenuItemEnabled(const std::string& menuName, const std::string& itemName) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    const Menu* menu = menuNamed(state(), menuName);
    if (menu == nullptr) {
        return false;
    }
    return std::any_of(menu->items.begin(), menu->items.end(),
                       [&](const MenuItem& item) { return item.name == itemName && item.enabled; });
}

bool Simulator::isMenuItemChecked(const std::string& menuName, const std::string& itemName) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    const Menu* menu = menuNamed(state(), menuName);
    if (menu == nullptr) {
        return false;
    }
    return std::any_of(menu->items.begin(), menu->items.end(), [&](const MenuItem& item) {
        return item.name == itemName && item.check == xplm_Menu_Checked;
    });
}

bool Simulator::clickMenuItem(const std::string& menuName, const std::string& itemName) {
    requireSimulatorThread("clickMenuItem");
    XPLMMenuHandler_f handler = nullptr;
    void* menuRef = nullptr;
    void* itemRef = nullptr;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        const Menu* menu = menuNamed(state(), menuName);
        if (menu == nullptr) {
            return false;
        }
        const auto item =
            std::find_if(menu->items.begin(), menu->items.end(),
                         [&](const MenuItem& candidate) { return candidate.name == itemName; });
        // A greyed-out item cannot be chosen.
        if (item == menu->items.end() || !item->enabled) {
            return false;
        }
        handler = menu->handler;
        menuRef = menu->menuRef;
        itemRef = item->itemRef;
    }
    if (handler != nullptr) {
        PluginCodeScope inPluginCode;
        handler(menuRef, itemRef);
    }
    return true;
}

std::vector<HotKeyInfo> Simulator::hotKeys() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    std::vector<HotKeyInfo> keys;
    for (const auto& entry : state().hotKeys) {
        keys.push_back(
            HotKeyInfo{entry.second.virtualKey, entry.second.flags, entry.second.description});
    }
    return keys;
}

bool Simulator::pressHotKey(char virtualKey, int flags) {
    requireSimulatorThread("pressHotKey");
    std::vector<std::pair<XPLMHotKey_f, void*>> matches;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        for (const auto& entry : state().hotKeys) {
            if (entry.second.virtualKey == virtualKey && entry.second.flags == flags) {
                matches.emplace_back(entry.second.callback, entry.second.refcon);
            }
        }
    }
    for (const auto& [callback, refcon] : matches) {
        PluginCodeScope inPluginCode;
        callback(refcon);
    }
    return !matches.empty();
}

int Simulator::drawCallbackCount() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return static_cast<int>(state().drawCallbacks.size());
}

std::vector<std::string> Simulator::spokenTexts() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().spokenTexts;
}

std::vector<DrawnText> Simulator::lastFrameTexts() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    const auto& texts = state().lastFrameTexts;
    return {texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(state().lastFrameCount)};
}

}  // namespace testbed
