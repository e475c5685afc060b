// Pictures of a test-bed window, read back with Cairo: size, what is drawn
// where, what is left out; and the window's texts as console lines.
#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "TestbedFixture.h"
#include "XPLMDisplay.h"
#include "XPLMGraphics.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"
#include "testbed/WindowPicture.h"

namespace {

// Away from the screen's origin, so that a forgotten offset or an unflipped
// y moves things visibly.
constexpr int kLeft = 100, kBottom = 50, kRight = 400, kTop = 250;
constexpr double kScale = 2.0;

struct Piece {
    int x, y;
    std::string text;
};
std::vector<Piece> g_pieces;  // what the draw callback draws, in white

int drawPieces(XPLMDrawingPhase, int, void*) {
    float white[3] = {1, 1, 1};
    for (const Piece& piece : g_pieces) {
        XPLMDrawString(white, piece.x, piece.y, piece.text.c_str(), nullptr, xplmFont_Proportional);
    }
    return 1;
}

struct Pixel {
    int r, g, b;
    bool operator==(const Pixel& o) const { return r == o.r && g == o.g && b == o.b; }
    int brightness() const { return (r + g + b) / 3; }
};
std::ostream& operator<<(std::ostream& out, const Pixel& p) {
    return out << "rgb(" << p.r << "," << p.g << "," << p.b << ")";
}

class Picture {
public:
    explicit Picture(const std::string& path)
        : m_surface(cairo_image_surface_create_from_png(path.c_str())) {}
    ~Picture() { cairo_surface_destroy(m_surface); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    bool loaded() const { return cairo_surface_status(m_surface) == CAIRO_STATUS_SUCCESS; }
    int width() const { return cairo_image_surface_get_width(m_surface); }
    int height() const { return cairo_image_surface_get_height(m_surface); }
    // The picture's pixel at an X-Plane screen point (y up).
    Pixel at(int screenX, int screenY) const {
        return pixel(static_cast<int>((screenX - kLeft) * kScale),
                     static_cast<int>((kTop - screenY) * kScale));
    }
    // How many pixels of the screen rectangle pass the test.
    int count(int left, int top, int right, int bottom,
              const std::function<bool(const Pixel&)>& test) const {
        int found = 0;
        for (int y = static_cast<int>((kTop - top) * kScale);
             y < static_cast<int>((kTop - bottom) * kScale); ++y) {
            for (int x = static_cast<int>((left - kLeft) * kScale);
                 x < static_cast<int>((right - kLeft) * kScale); ++x) {
                found += test(pixel(x, y)) ? 1 : 0;
            }
        }
        return found;
    }

private:
    Pixel pixel(int x, int y) const {
        const unsigned char* row =
            cairo_image_surface_get_data(m_surface) + y * cairo_image_surface_get_stride(m_surface);
        const uint32_t argb = reinterpret_cast<const uint32_t*>(row)[x];
        return {static_cast<int>((argb >> 16) & 0xff), static_cast<int>((argb >> 8) & 0xff),
                static_cast<int>(argb & 0xff)};
    }
    cairo_surface_t* m_surface;
};

bool nearWhite(const Pixel& p) { return p.r >= 230 && p.g >= 230 && p.b >= 230; }
bool dark(const Pixel& p) { return p.brightness() < 80; }

class WindowPictureTest : public TestbedTest {
protected:
    void SetUp() override {
        TestbedTest::SetUp();
        g_pieces.clear();
        window = XPCreateWidget(kLeft, kTop, kRight, kBottom, 1, "Test Window", 1, nullptr,
                                xpWidgetClass_MainWindow);
        XPSetWidgetProperty(window, xpProperty_MainWindowHasCloseBoxes, 1);
        area = XPCreateWidget(110, 200, 250, 60, 1, "Area", 0, window, xpWidgetClass_SubWindow);
        XPLMRegisterDrawCallback(drawPieces, xplm_Phase_Window, 0, nullptr);
    }
    XPWidgetID button(int left, int top, int right, int bottom, XPWidgetID parent) {
        return XPCreateWidget(left, top, right, bottom, 1, "OK", 0, parent, xpWidgetClass_Button);
    }
    XPWidgetID checkBox(int left, int top, bool checked) {
        XPWidgetID box =
            XPCreateWidget(left, top, left + 12, top - 12, 1, "", 0, area, xpWidgetClass_Button);
        XPSetWidgetProperty(box, xpProperty_ButtonType, xpRadioButton);
        XPSetWidgetProperty(box, xpProperty_ButtonState, checked ? 1 : 0);
        return box;
    }
    std::string save() {
        const std::string path = folder.file("window.png");
        std::string error;
        EXPECT_TRUE(testbed::saveWindowPicture(sim(), "Test Window", path, &error)) << error;
        return path;
    }

    quelby_test::ScratchFolder folder{"quelby-picture"};
    XPWidgetID window = nullptr;
    XPWidgetID area = nullptr;
};

TEST_F(WindowPictureTest, Controls_drawnWhereTheyAreAtTheWindowsSizeTimesScale_disabledGreyed) {
    button(120, 190, 200, 170, area);
    XPSetWidgetProperty(button(260, 190, 340, 170, window), xpProperty_Enabled, 0);
    checkBox(120, 150, true);
    checkBox(150, 150, false);
    XPCreateWidget(120, 95, 240, 75, 1, "secret", 0, area, xpWidgetClass_TextField);

    const Picture picture(save());
    ASSERT_TRUE(picture.loaded());
    EXPECT_EQ(picture.width(), 600);
    EXPECT_EQ(picture.height(), 400);

    // Left of the caption the button shows its light face; the same spot
    // mirrored top to bottom is plain panel.
    const Pixel panel = picture.at(230, 180);
    EXPECT_GT(picture.at(125, 180).brightness(), panel.brightness() + 100);
    EXPECT_EQ(picture.at(125, 120), panel);
    EXPECT_GT(picture.at(235, 85).brightness(), panel.brightness() + 100) << "text field";
    EXPECT_GT(picture.count(122, 148, 130, 140, dark), picture.count(152, 148, 160, 140, dark) + 4)
        << "only the checked box carries a mark";
    EXPECT_LT(picture.at(262, 180).brightness() + 40, picture.at(125, 180).brightness())
        << "a disabled button is greyed";
}

TEST_F(WindowPictureTest, Texts_inTheirColourAtTheirPlace_atTheWidthsTheSimulatorMeasures) {
    g_pieces = {{140, 120, "MMMMMMMMMM"}};
    sim().runFrames(1);

    const Picture picture(save());
    ASSERT_TRUE(picture.loaded());
    EXPECT_GT(picture.count(140, 130, 147, 120, nearWhite), 0) << "first character";
    // An M is 9 px wide in the simulator's font.
    EXPECT_GT(picture.count(221, 130, 229, 120, nearWhite), 0) << "tenth character, 81 px on";
    EXPECT_EQ(picture.count(232, 132, 260, 117, nearWhite), 0) << "nothing after the tenth";
    EXPECT_EQ(picture.count(140, 182, 210, 168, nearWhite), 0) << "nothing at the mirrored place";
}

TEST_F(WindowPictureTest, TextAsLines_topToBottomLeftToRightAtTheirColumns) {
    // Drawn out of order; the two last pieces lie outside the window.
    g_pieces = {{kLeft + 12, 180, "Next"},  {kLeft + 54, 180, "ok   "}, {kLeft + 60, 200, "kg"},
                {kLeft + 12, 200, "Fuel"},  {kLeft + 42, 200, "1234"},  {kLeft - 30, 200, "left"},
                {kLeft + 14, kTop, "above"}};
    sim().runFrames(1);

    // "kg" belongs at column 10 but "1234" reaches there: one space apart.
    EXPECT_EQ(testbed::windowTextAsLines(sim(), "Test Window"), "  Fuel 1234 kg\n  Next   ok\n");
    XPHideWidget(window);
    EXPECT_EQ(testbed::windowTextAsLines(sim(), "Test Window"), "");
}

}  // namespace
