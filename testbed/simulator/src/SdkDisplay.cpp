// X-Plane's display, menu, text and speech services: draw callbacks, hot keys,
// windows, menus, string drawing and measuring, spoken text.
#include <algorithm>

#include "SimulatorState.h"
#include "XPLMDisplay.h"
#include "XPLMGraphics.h"
#include "XPLMMenus.h"
#include "XPLMUtilities.h"
#include "testbed/TextMetrics.h"

using namespace testbed::detail;

namespace {

void eraseMenuAndSubmenus(State& s, XPLMMenuID menu) {
    std::vector<XPLMMenuID> submenus;
    for (const auto& [id, candidate] : s.menus) {
        if (candidate.parent == menu) {
            submenus.push_back(id);
        }
    }
    for (XPLMMenuID submenu : submenus) {
        eraseMenuAndSubmenus(s, submenu);
    }
    s.menus.erase(menu);
}

MenuItem* menuItem(State& s, XPLMMenuID menu, int index, const char* function) {
    const auto found = s.menus.find(menu);
    if (found == s.menus.end() || index < 0 ||
        index >= static_cast<int>(found->second.items.size())) {
        recordSdkMisuse(s, std::string(function) + ": no item " + std::to_string(index) +
                               " in menu " + handleText(menu));
        return nullptr;
    }
    return &found->second.items[static_cast<size_t>(index)];
}

}  // namespace

extern "C" {

XPLM_API int XPLMRegisterDrawCallback(XPLMDrawCallback_f inCallback, XPLMDrawingPhase inPhase,
                                      int inWantsBefore, void* inRefcon) {
    SdkCall call("XPLMRegisterDrawCallback");
    if (inCallback == nullptr) {
        recordSdkMisuse(call.s, "XPLMRegisterDrawCallback: null callback");
        return 0;
    }
    DrawCallback entry;
    entry.callback = inCallback;
    entry.phase = inPhase;
    entry.wantsBefore = inWantsBefore != 0 ? 1 : 0;
    entry.refcon = inRefcon;
    entry.ownedByPlugin = call.s.pluginActive;
    entry.serial = call.s.nextDrawSerial++;
    call.s.drawCallbacks.push_back(entry);
    return 1;
}

XPLM_API int XPLMUnregisterDrawCallback(XPLMDrawCallback_f inCallback, XPLMDrawingPhase inPhase,
                                        int inWantsBefore, void* inRefcon) {
    SdkCall call("XPLMUnregisterDrawCallback");
    auto& callbacks = call.s.drawCallbacks;
    const auto found = std::find_if(callbacks.begin(), callbacks.end(), [&](const DrawCallback& c) {
        return c.callback == inCallback && c.phase == inPhase &&
               c.wantsBefore == (inWantsBefore != 0 ? 1 : 0) && c.refcon == inRefcon;
    });
    if (found == callbacks.end()) {
        return 0;  // X-Plane's answer for a registration it does not know
    }
    callbacks.erase(found);
    return 1;
}

XPLM_API void XPLMDestroyWindow(XPLMWindowID inWindowID) {
    SdkCall call("XPLMDestroyWindow");
    // No XPLM window is ever created here, so whatever comes is something else;
    // a widget id is the usual mix-up.
    const bool isWidget = call.s.widgets.count(inWindowID) != 0;
    recordSdkMisuse(call.s, "XPLMDestroyWindow: " + handleText(inWindowID) + " is not a window" +
                                (isWidget ? " (it is a widget)" : ""));
}

XPLM_API XPLMHotKeyID XPLMRegisterHotKey(char inVirtualKey, XPLMKeyFlags inFlags,
                                         const char* inDescription, XPLMHotKey_f inCallback,
                                         void* inRefcon) {
    SdkCall call("XPLMRegisterHotKey");
    if (inCallback == nullptr) {
        recordSdkMisuse(call.s, "XPLMRegisterHotKey: null callback");
        return nullptr;
    }
    HotKey key;
    key.virtualKey = inVirtualKey;
    key.flags = inFlags;
    key.description = inDescription != nullptr ? inDescription : "";
    key.callback = inCallback;
    key.refcon = inRefcon;
    key.ownedByPlugin = call.s.pluginActive;
    XPLMHotKeyID id = newHandle(call.s);
    call.s.hotKeys.emplace(id, std::move(key));
    return id;
}

XPLM_API void XPLMUnregisterHotKey(XPLMHotKeyID inHotKey) {
    SdkCall call("XPLMUnregisterHotKey");
    if (call.s.hotKeys.erase(inHotKey) == 0) {
        recordSdkMisuse(call.s, "XPLMUnregisterHotKey: unknown hot key " + handleText(inHotKey));
    }
}

XPLM_API void XPLMDrawString(float* inColorRGB, int inXOffset, int inYOffset, const char* inChar,
                             int* /*inWordWrapWidth*/, XPLMFontID inFontID) {
    SdkCall call("XPLMDrawString");
    if (inChar == nullptr) {
        recordSdkMisuse(call.s, "XPLMDrawString: null text");
        return;
    }
    if (call.s.drawCallbackDepth.load() == 0) {
        // Outside a draw callback X-Plane has no frame to draw into.
        recordSdkMisuse(call.s, std::string("XPLMDrawString outside a draw callback: ") + inChar);
        return;
    }
    auto& texts = call.s.currentFrameTexts;
    if (call.s.currentFrameCount == texts.size()) {
        texts.emplace_back();
    }
    testbed::DrawnText& drawn = texts[call.s.currentFrameCount++];
    drawn.x = inXOffset;
    drawn.y = inYOffset;
    drawn.text.assign(inChar);
    drawn.font = inFontID;
    drawn.window = call.s.paintingWindow;
    if (inColorRGB != nullptr) {
        std::copy_n(inColorRGB, 3, drawn.rgb);
    } else {
        std::fill_n(drawn.rgb, 3, 0.0f);
    }
}

XPLM_API void XPLMGetFontDimensions(XPLMFontID /*inFontID*/, int* outCharWidth, int* outCharHeight,
                                    int* outDigitsOnly) {
    SdkCall call("XPLMGetFontDimensions");
    // Every font answers the same; for the proportional font 18 the width is
    // X-Plane's average character width.
    if (outCharWidth != nullptr) *outCharWidth = testbed::kAverageCharWidthPx;
    if (outCharHeight != nullptr) *outCharHeight = testbed::kTextHeightPx;
    if (outDigitsOnly != nullptr) *outDigitsOnly = 0;
}

XPLM_API float XPLMMeasureString(XPLMFontID /*inFontID*/, const char* inChar, int inNumChars) {
    SdkCall call("XPLMMeasureString");
    if (inChar == nullptr || inNumChars <= 0) {
        return 0.0f;
    }
    return static_cast<float>(
        testbed::textWidthPx(std::string(inChar, static_cast<size_t>(inNumChars))));
}

XPLM_API XPLMMenuID XPLMCreateMenu(const char* inName, XPLMMenuID inParentMenu, int inParentItem,
                                   XPLMMenuHandler_f inHandler, void* inMenuRef) {
    SdkCall call("XPLMCreateMenu");
    if (inParentMenu != nullptr && call.s.menus.count(inParentMenu) == 0) {
        recordSdkMisuse(call.s, "XPLMCreateMenu: unknown parent menu " + handleText(inParentMenu));
        return nullptr;
    }
    Menu menu;
    menu.name = inName != nullptr ? inName : "";
    menu.parent = inParentMenu;  // none: a menu of its own in the menu bar
    menu.parentItem = inParentItem;
    menu.handler = inHandler;
    menu.menuRef = inMenuRef;
    menu.ownedByPlugin = call.s.pluginActive;
    XPLMMenuID id = newHandle(call.s);
    call.s.menus.emplace(id, std::move(menu));
    return id;
}

XPLM_API int XPLMAppendMenuItem(XPLMMenuID inMenu, const char* inItemName, void* inItemRef,
                                int /*inDeprecatedAndIgnored*/) {
    SdkCall call("XPLMAppendMenuItem");
    const auto found = call.s.menus.find(inMenu);
    if (found == call.s.menus.end()) {
        recordSdkMisuse(call.s, "XPLMAppendMenuItem: unknown menu " + handleText(inMenu));
        return -1;
    }
    auto& items = found->second.items;
    items.push_back(MenuItem{inItemName != nullptr ? inItemName : "", inItemRef});
    return static_cast<int>(items.size()) - 1;
}

XPLM_API void XPLMCheckMenuItem(XPLMMenuID inMenu, int index, XPLMMenuCheck inCheck) {
    SdkCall call("XPLMCheckMenuItem");
    if (MenuItem* item = menuItem(call.s, inMenu, index, "XPLMCheckMenuItem")) {
        item->check = inCheck;
    }
}

XPLM_API void XPLMEnableMenuItem(XPLMMenuID inMenu, int index, int enabled) {
    SdkCall call("XPLMEnableMenuItem");
    if (MenuItem* item = menuItem(call.s, inMenu, index, "XPLMEnableMenuItem")) {
        item->enabled = enabled != 0;
    }
}

XPLM_API void XPLMDestroyMenu(XPLMMenuID inMenuID) {
    SdkCall call("XPLMDestroyMenu");
    if (call.s.menus.count(inMenuID) == 0) {
        recordSdkMisuse(call.s, "XPLMDestroyMenu: unknown menu " + handleText(inMenuID));
        return;
    }
    eraseMenuAndSubmenus(call.s, inMenuID);
}

XPLM_API void XPLMSpeakString(const char* inString) {
    SdkCall call("XPLMSpeakString");
    if (inString == nullptr) {
        recordSdkMisuse(call.s, "XPLMSpeakString: null text");
        return;
    }
    if (call.s.spokenTexts.size() < kMaxRecords) {
        call.s.spokenTexts.push_back(inString);
    }
}

}  // extern "C"
