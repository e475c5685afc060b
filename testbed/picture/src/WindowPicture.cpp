// Draws a test-bed window with Cairo in X-Plane's widget look.
#include "testbed/WindowPicture.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "XPLMDisplay.h"
#include "XPStandardWidgets.h"
#include "testbed/TextMetrics.h"

namespace testbed {
namespace {

constexpr double kTitleBarHeight = 18.0;
constexpr double kOsTitleBarHeight = 24.0;
constexpr double kCloseBoxSize = 12.0;
constexpr double kTextFieldPadding = 4.0;
const char* const kFontFace = "DejaVu Sans";
constexpr double kPi = 3.14159265358979323846;

struct Rgb {
    double r, g, b;
};

// A widget's rectangle in picture units: from the window's top-left corner,
// y down, before scaling.
struct Box {
    double x, y, w, h;
};

void setError(std::string* error, const std::string& text) {
    if (error != nullptr) {
        *error = text;
    }
}

// The shown widgets under root, each before its children and siblings in
// creation order, which is the order X-Plane paints them in.
void collectShown(const Simulator& sim, const std::vector<WidgetInfo>& widgets,
                  const WidgetInfo& root, std::vector<const WidgetInfo*>& out) {
    out.push_back(&root);
    for (const WidgetInfo& widget : widgets) {
        if (widget.parent == root.id && sim.isWidgetShownOnScreen(widget.id)) {
            collectShown(sim, widgets, widget, out);
        }
    }
}

class Painter {
public:
    Painter(cairo_t* cr, const WidgetInfo& window) : m_cr(cr), m_window(window) {
        cairo_select_font_face(m_cr, kFontFace, CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
        // Unhinted metrics keep the glyphs at their design widths, which the
        // test bed's character widths are taken from.
        cairo_font_options_t* fontOptions = cairo_font_options_create();
        cairo_font_options_set_hint_metrics(fontOptions, CAIRO_HINT_METRICS_OFF);
        cairo_set_font_options(m_cr, fontOptions);
        cairo_font_options_destroy(fontOptions);
        cairo_set_font_size(m_cr, kTextHeightPx);
        cairo_text_extents_t extents;
        cairo_text_extents(m_cr, "X", &extents);
        m_capHeight = -extents.y_bearing;
    }

    void widget(const Simulator& sim, const WidgetInfo& info) {
        const Box box = boxOf(info);
        bool hasEnabled = false;
        const intptr_t enabledValue = sim.widgetProperty(info.id, xpProperty_Enabled, &hasEnabled);
        const bool enabled = !hasEnabled || enabledValue != 0;
        switch (info.widgetClass) {
            case xpWidgetClass_MainWindow:
                mainWindow(box, info.descriptor,
                           sim.widgetProperty(info.id, xpProperty_MainWindowHasCloseBoxes) != 0);
                break;
            case xpWidgetClass_SubWindow:
                subWindow(box);
                break;
            case xpWidgetClass_Button:
                if (sim.widgetProperty(info.id, xpProperty_ButtonType) == xpRadioButton) {
                    checkBox(box, sim.widgetProperty(info.id, xpProperty_ButtonState) != 0,
                             enabled);
                } else {
                    pushButton(box, info.descriptor, enabled);
                }
                break;
            case xpWidgetClass_TextField: {
                const bool password = sim.widgetProperty(info.id, xpProperty_PasswordMode) != 0;
                textField(box,
                          password ? std::string(info.descriptor.size(), '*') : info.descriptor,
                          enabled);
                break;
            }
            default:
                break;  // classes the plug-in never makes have no look here
        }
    }

    // The title bar an operating system gives a window of its own.
    void osFrame(double width, const std::string& title) {
        fillGradient({0, -kOsTitleBarHeight, width, kOsTitleBarHeight}, {0.92, 0.92, 0.93},
                     {0.82, 0.82, 0.84});
        horizontalLine(0, width, -0.5, {0.55, 0.55, 0.58});
        const Rgb lights[3] = {{0.93, 0.36, 0.33}, {0.96, 0.75, 0.25}, {0.36, 0.78, 0.33}};
        for (int i = 0; i < 3; ++i) {
            cairo_arc(m_cr, 12.0 + 18.0 * i, -kOsTitleBarHeight / 2, 5.5, 0, 2 * kPi);
            setColour(lights[i]);
            cairo_fill(m_cr);
        }
        centredText({0, -kOsTitleBarHeight, width, kOsTitleBarHeight}, title, {0.2, 0.2, 0.22});
    }

    void text(const DrawnText& drawn) {
        // X-Plane puts the string's baseline at its y.
        setColour({drawn.rgb[0], drawn.rgb[1], drawn.rgb[2]});
        // Glyph by glyph at the widths the plug-in measured with, so that its
        // right-alignment and wrapping come out as it computed them.
        double x = drawn.x - m_window.left;
        const double baseline = m_window.top - drawn.y;
        char glyph[2] = {0, 0};
        for (const char c : drawn.text) {
            glyph[0] = c;
            cairo_move_to(m_cr, x, baseline);
            cairo_show_text(m_cr, glyph);
            x += charWidthPx(c);
        }
    }

private:
    Box boxOf(const WidgetInfo& info) const {
        return {static_cast<double>(info.left - m_window.left),
                static_cast<double>(m_window.top - info.top),
                static_cast<double>(info.right - info.left),
                static_cast<double>(info.top - info.bottom)};
    }

    void mainWindow(const Box& box, const std::string& title, bool closeBox) {
        fillGradient(box, {0.25, 0.28, 0.33}, {0.18, 0.21, 0.25});
        const Box titleBar{box.x, box.y, box.w, std::min(kTitleBarHeight, box.h)};
        fillGradient(titleBar, {0.45, 0.50, 0.58}, {0.31, 0.35, 0.42});
        horizontalLine(box.x, box.x + box.w, box.y + 1, {0.60, 0.65, 0.72});
        horizontalLine(box.x, box.x + box.w, titleBar.y + titleBar.h, {0.10, 0.11, 0.14});
        strokeBox(box, {0.08, 0.09, 0.11});

        double titleRight = box.x + box.w;
        if (closeBox) {
            const Box close{box.x + box.w - kCloseBoxSize - 4,
                            box.y + (titleBar.h - kCloseBoxSize) / 2, kCloseBoxSize, kCloseBoxSize};
            fillGradient(close, {0.30, 0.33, 0.39}, {0.20, 0.23, 0.28});
            strokeBox(close, {0.07, 0.08, 0.10});
            cross(close, 3.5, {0.90, 0.92, 0.95});
            titleRight = close.x - 2;
        }
        centredText({box.x, box.y, titleRight - box.x, titleBar.h}, title, {0.94, 0.95, 0.97});
    }

    void subWindow(const Box& box) {
        // An inset panel: shadow along the top and left, light along the
        // bottom and right.
        fill(box, {0.15, 0.17, 0.21});
        const Rgb shadow{0.07, 0.08, 0.10};
        const Rgb light{0.38, 0.42, 0.48};
        horizontalLine(box.x, box.x + box.w, box.y + 0.5, shadow);
        verticalLine(box.x + 0.5, box.y, box.y + box.h, shadow);
        horizontalLine(box.x, box.x + box.w, box.y + box.h - 0.5, light);
        verticalLine(box.x + box.w - 0.5, box.y, box.y + box.h, light);
    }

    void pushButton(const Box& box, const std::string& caption, bool enabled) {
        roundedPath(box, 3.0);
        cairo_pattern_t* gradient =
            verticalGradient(box, enabled ? Rgb{0.96, 0.96, 0.97} : Rgb{0.58, 0.59, 0.61},
                             enabled ? Rgb{0.70, 0.71, 0.74} : Rgb{0.50, 0.51, 0.53});
        cairo_set_source(m_cr, gradient);
        cairo_fill_preserve(m_cr);
        cairo_pattern_destroy(gradient);
        setColour(enabled ? Rgb{0.20, 0.21, 0.24} : Rgb{0.36, 0.37, 0.40});
        cairo_set_line_width(m_cr, 1.0);
        cairo_stroke(m_cr);
        centredText(box, caption, enabled ? Rgb{0.07, 0.08, 0.10} : Rgb{0.35, 0.36, 0.38});
    }

    void checkBox(const Box& box, bool checked, bool enabled) {
        const double side = std::min(box.w, box.h);
        const Box square{box.x, box.y + (box.h - side) / 2, side, side};
        fill(square, enabled ? Rgb{0.93, 0.93, 0.94} : Rgb{0.58, 0.59, 0.61});
        strokeBox(square, enabled ? Rgb{0.10, 0.11, 0.13} : Rgb{0.36, 0.37, 0.40});
        if (!checked) {
            return;
        }
        cairo_move_to(m_cr, square.x + 0.20 * side, square.y + 0.52 * side);
        cairo_line_to(m_cr, square.x + 0.42 * side, square.y + 0.76 * side);
        cairo_line_to(m_cr, square.x + 0.82 * side, square.y + 0.22 * side);
        cairo_set_line_width(m_cr, std::max(1.6, 0.16 * side));
        cairo_set_line_cap(m_cr, CAIRO_LINE_CAP_ROUND);
        cairo_set_line_join(m_cr, CAIRO_LINE_JOIN_ROUND);
        setColour(enabled ? Rgb{0.08, 0.09, 0.11} : Rgb{0.35, 0.36, 0.38});
        cairo_stroke(m_cr);
    }

    void textField(const Box& box, const std::string& shown, bool enabled) {
        fill(box, enabled ? Rgb{0.96, 0.96, 0.93} : Rgb{0.68, 0.68, 0.66});
        horizontalLine(box.x, box.x + box.w, box.y + 1.5, {0.72, 0.72, 0.70});
        strokeBox(box, {0.10, 0.11, 0.13});
        // Fields hold one line, centred up and down as X-Plane centres it.
        cairo_save(m_cr);
        cairo_rectangle(m_cr, box.x + 1, box.y + 1, std::max(0.0, box.w - 2),
                        std::max(0.0, box.h - 2));
        cairo_clip(m_cr);
        setColour(enabled ? Rgb{0.05, 0.05, 0.08} : Rgb{0.40, 0.40, 0.42});
        cairo_move_to(m_cr, box.x + kTextFieldPadding, box.y + (box.h + m_capHeight) / 2);
        cairo_show_text(m_cr, shown.c_str());
        cairo_restore(m_cr);
    }

    void centredText(const Box& box, const std::string& text, const Rgb& colour) {
        if (text.empty()) {
            return;
        }
        cairo_save(m_cr);
        cairo_rectangle(m_cr, box.x, box.y, std::max(0.0, box.w), std::max(0.0, box.h));
        cairo_clip(m_cr);
        cairo_text_extents_t extents;
        cairo_text_extents(m_cr, text.c_str(), &extents);
        setColour(colour);
        cairo_move_to(m_cr, box.x + (box.w - extents.x_advance) / 2,
                      box.y + (box.h + m_capHeight) / 2);
        cairo_show_text(m_cr, text.c_str());
        cairo_restore(m_cr);
    }

    void setColour(const Rgb& c) { cairo_set_source_rgb(m_cr, c.r, c.g, c.b); }

    cairo_pattern_t* verticalGradient(const Box& box, const Rgb& top, const Rgb& bottom) {
        cairo_pattern_t* pattern = cairo_pattern_create_linear(0, box.y, 0, box.y + box.h);
        cairo_pattern_add_color_stop_rgb(pattern, 0, top.r, top.g, top.b);
        cairo_pattern_add_color_stop_rgb(pattern, 1, bottom.r, bottom.g, bottom.b);
        return pattern;
    }

    void fill(const Box& box, const Rgb& colour) {
        cairo_rectangle(m_cr, box.x, box.y, box.w, box.h);
        setColour(colour);
        cairo_fill(m_cr);
    }

    void fillGradient(const Box& box, const Rgb& top, const Rgb& bottom) {
        cairo_rectangle(m_cr, box.x, box.y, box.w, box.h);
        cairo_pattern_t* gradient = verticalGradient(box, top, bottom);
        cairo_set_source(m_cr, gradient);
        cairo_fill(m_cr);
        cairo_pattern_destroy(gradient);
    }

    // One-pixel lines on half coordinates, so they cover whole pixels at
    // any integer scale.
    void strokeBox(const Box& box, const Rgb& colour) {
        cairo_rectangle(m_cr, box.x + 0.5, box.y + 0.5, std::max(0.0, box.w - 1),
                        std::max(0.0, box.h - 1));
        setColour(colour);
        cairo_set_line_width(m_cr, 1.0);
        cairo_stroke(m_cr);
    }

    void horizontalLine(double x0, double x1, double y, const Rgb& colour) {
        cairo_move_to(m_cr, x0, y);
        cairo_line_to(m_cr, x1, y);
        setColour(colour);
        cairo_set_line_width(m_cr, 1.0);
        cairo_stroke(m_cr);
    }

    void verticalLine(double x, double y0, double y1, const Rgb& colour) {
        cairo_move_to(m_cr, x, y0);
        cairo_line_to(m_cr, x, y1);
        setColour(colour);
        cairo_set_line_width(m_cr, 1.0);
        cairo_stroke(m_cr);
    }

    void cross(const Box& box, double inset, const Rgb& colour) {
        cairo_move_to(m_cr, box.x + inset, box.y + inset);
        cairo_line_to(m_cr, box.x + box.w - inset, box.y + box.h - inset);
        cairo_move_to(m_cr, box.x + box.w - inset, box.y + inset);
        cairo_line_to(m_cr, box.x + inset, box.y + box.h - inset);
        setColour(colour);
        cairo_set_line_width(m_cr, 1.5);
        cairo_set_line_cap(m_cr, CAIRO_LINE_CAP_ROUND);
        cairo_stroke(m_cr);
    }

    void roundedPath(const Box& box, double radius) {
        const double x = box.x + 0.5, y = box.y + 0.5;
        const double w = std::max(0.0, box.w - 1), h = std::max(0.0, box.h - 1);
        const double r = std::min({radius, w / 2, h / 2});
        cairo_new_sub_path(m_cr);
        cairo_arc(m_cr, x + w - r, y + r, r, -kPi / 2, 0);
        cairo_arc(m_cr, x + w - r, y + h - r, r, 0, kPi / 2);
        cairo_arc(m_cr, x + r, y + h - r, r, kPi / 2, kPi);
        cairo_arc(m_cr, x + r, y + r, r, kPi, 3 * kPi / 2);
        cairo_close_path(m_cr);
    }

    cairo_t* m_cr;
    const WidgetInfo& m_window;
    double m_capHeight = 0.0;
};

}  // namespace

bool saveWindowPicture(const Simulator& sim, const std::string& windowDescriptor,
                       const std::string& pngPath, std::string* error,
                       const PictureOptions& options) {
    const std::vector<WidgetInfo> widgets = sim.widgets();
    const WidgetInfo* window = findShownWindow(sim, widgets, windowDescriptor);
    if (window == nullptr) {
        setError(error, "no shown window \"" + windowDescriptor + "\"");
        return false;
    }
    const int width = window->right - window->left;
    const int height = window->top - window->bottom;
    if (width <= 0 || height <= 0) {
        setError(error, "window \"" + windowDescriptor + "\" has no area");
        return false;
    }
    if (!(options.scale > 0) || !std::isfinite(options.scale)) {
        setError(error, "the picture's scale must be positive");
        return false;
    }
    // Widget units are boxels in a native window: the UI scale makes them
    // larger on the screen. A legacy window's are screen pixels.
    const double scale = options.scale * (sim.isNativeWindow(window->id) ? sim.uiScale() : 1.0);
    const bool poppedOut = sim.windowPositioningMode(window->id) == xplm_WindowPopOut;
    const double frameHeight = poppedOut ? kOsTitleBarHeight : 0.0;

    cairo_surface_t* surface = cairo_image_surface_create(
        CAIRO_FORMAT_ARGB32, static_cast<int>(std::lround(width * scale)),
        static_cast<int>(std::lround((height + frameHeight) * scale)));
    cairo_t* cr = cairo_create(surface);
    cairo_scale(cr, scale, scale);
    cairo_translate(cr, 0, frameHeight);
    {
        Painter painter(cr, *window);
        if (poppedOut) {
            painter.osFrame(width, window->descriptor);
        }
        const std::vector<DrawnText> texts = textsInside(sim, *window);
        std::vector<const WidgetInfo*> shown;
        collectShown(sim, widgets, *window, shown);
        for (const WidgetInfo* widget : shown) {
            painter.widget(sim, *widget);
            // A widget of the plug-in's own class draws the window's texts
            // in its turn: over the widgets before it, under those after.
            if (widget->widgetClass == kCustomWidgetClass) {
                for (const DrawnText& text : texts) {
                    if (text.window == window->id) painter.text(text);
                }
            }
        }
        // A draw callback comes after X-Plane has drawn its windows, so its
        // texts lie on top.
        for (const DrawnText& text : texts) {
            if (text.window == nullptr) painter.text(text);
        }
    }
    cairo_status_t status = cairo_status(cr);
    cairo_destroy(cr);
    if (status == CAIRO_STATUS_SUCCESS) {
        status = cairo_surface_write_to_png(surface, pngPath.c_str());
    }
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS) {
        setError(error, "cannot write " + pngPath + ": " + cairo_status_to_string(status));
        return false;
    }
    return true;
}

}  // namespace testbed
