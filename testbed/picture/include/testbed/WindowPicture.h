// Shows a window of the emulated X-Plane the way a pilot would see it: as a
// PNG picture in X-Plane's widget look (its texts as lines: WindowText.h).
#pragma once

#include <string>

#include "testbed/Simulator.h"
#include "testbed/WindowText.h"

namespace testbed {

struct PictureOptions {
    // Picture pixels per screen pixel.
    double scale = 2.0;
};

// Draws the shown root window whose descriptor is windowDescriptor, with all
// its shown descendants and the texts of the last frame that it drew (or that
// a draw callback drew over it), into a PNG of the window's size on the
// screen times options.scale: a native widget window is as large as the UI
// scale makes it, a legacy one keeps its pixels. A popped-out window wears
// the frame of an OS window. Returns false with *error set when there is no
// such shown window or the file cannot be written.
bool saveWindowPicture(const Simulator& sim, const std::string& windowDescriptor,
                       const std::string& pngPath, std::string* error = nullptr,
                       const PictureOptions& options = {});

}  // namespace testbed
