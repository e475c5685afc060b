// Classes, properties and messages of X-Plane's standard widgets, as far as
// the plug-in uses them.
#ifndef XPStandardWidgets_h
#define XPStandardWidgets_h

#include "XPWidgetDefs.h"

#define xpWidgetClass_MainWindow 1
#define xpWidgetClass_SubWindow 2
#define xpWidgetClass_Button 3
#define xpWidgetClass_TextField 4

enum { xpProperty_MainWindowHasCloseBoxes = 1200 };
enum { xpMessage_CloseButtonPushed = 1200 };

enum { xpPushButton = 0, xpRadioButton = 1 };
enum {
    xpButtonBehaviorPushButton = 0,
    xpButtonBehaviorCheckBox = 1,
    xpButtonBehaviorRadioButton = 2
};
enum {
    xpProperty_ButtonType = 1300,
    xpProperty_ButtonBehavior = 1301,
    xpProperty_ButtonState = 1302
};
enum { xpMsg_PushButtonPressed = 1300, xpMsg_ButtonStateChanged = 1301 };

enum { xpProperty_PasswordMode = 1404 };
enum { xpMsg_TextFieldChanged = 1400 };

#endif
