// Which output plays the plug-in's sounds: X-Plane's own mixer where X-Plane
// offers it to plug-ins (12.04 and later), OpenAL elsewhere, and silence
// where neither is there. One log line says which.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>

class CSound;
class CSoundMixer;

namespace CSoundOutput {

// Threads: the client thread, while the client starts. The mixer may be
// null, and outlives the player.
std::unique_ptr<CSound> makePlayer(unsigned int* handle, const std::string& path,
                                   const std::string& language, CSoundMixer* mixer);
// The same with OpenAL looked for under these library names only.
std::unique_ptr<CSound> makePlayer(unsigned int* handle, const std::string& path,
                                   const std::string& language, CSoundMixer* mixer,
                                   std::initializer_list<const char*> openAlNames);

}  // namespace CSoundOutput
