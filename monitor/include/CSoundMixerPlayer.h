// The sound player on the simulator's own mixer (X-Plane 12.04 and later):
// the interface sounds read once, any other WAV file read when it is played,
// each handed to the mixer as 16-bit samples. A new sound cuts the one
// playing, as with OpenAL's one source.
#pragma once

#include <memory>
#include <string>

#include "CSound.h"
#include "CSoundMixer.h"

// Threads: made and played on the client thread; the mixer takes each sound
// to the simulator's thread. Missing or unreadable files are logged and stay
// silent. No exception leaves it.
class CSoundMixerPlayer : public CSound {
public:
    // The mixer outlives the player.
    CSoundMixerPlayer(unsigned int* handle, const std::string& path, const std::string& language,
                      CSoundMixer* mixer);
    ~CSoundMixerPlayer() override;

    void play(const std::string& name, bool common) override;
    void play(unsigned int id) override;

private:
    // The file's sound, or null (logged) when it cannot be read.
    std::shared_ptr<const tPcmSound> load(const std::string& file);
    void logException(const char* where) noexcept;

    CSoundMixer* m_pMixer;
    std::shared_ptr<const tPcmSound> m_interfaceSounds[kInterfaceSounds];
};
