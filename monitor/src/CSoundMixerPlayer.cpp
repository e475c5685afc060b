// Reading the sounds for the simulator's mixer and handing them over; the
// interface sounds, played at every click, are read once.
#include "CSoundMixerPlayer.h"

#include "CLogger.h"
#include "CWaveFile.h"

CSoundMixerPlayer::CSoundMixerPlayer(unsigned int* handle, const std::string& path,
                                     const std::string& language, CSoundMixer* mixer)
    : CSound(handle, path, language), m_pMixer(mixer) {
    try {
        for (unsigned int id = 0; id < kInterfaceSounds; ++id) {
            m_interfaceSounds[id] = load(fileFor(interfaceSoundFile(id), true));
        }
    } catch (...) {
        logException("load");
    }
}

// The mixer keeps what it still plays: the sounds read here may go.
CSoundMixerPlayer::~CSoundMixerPlayer() = default;

std::shared_ptr<const tPcmSound> CSoundMixerPlayer::load(const std::string& file) {
    auto sound = std::make_shared<tPcmSound>();
    std::string why;
    if (!readPcmSound(file, *sound, why)) {
        m_pLogger->error("load wav: " + why + " (" + file + ")");
        return nullptr;
    }
    if (sound->samples.empty()) {
        m_pLogger->error("load wav: no samples (" + file + ")");
        return nullptr;
    }
    return sound;
}

void CSoundMixerPlayer::play(unsigned int id) {
    if (id >= kInterfaceSounds || !isEnabled() || m_pMixer == nullptr || !m_interfaceSounds[id]) {
        return;
    }
    try {
        m_pMixer->play(m_interfaceSounds[id]);
    } catch (...) {
        logException("play");
    }
}

void CSoundMixerPlayer::play(const std::string& name, bool common) {
    try {
        if (m_pMixer == nullptr) {
            return;
        }
        const std::string file = fileFor(name, common);
        if (file.empty()) {
            return;
        }
        if (std::shared_ptr<const tPcmSound> sound = load(file)) {
            m_pMixer->play(std::move(sound));
        }
    } catch (...) {
        logException("play");
    }
}

void CSoundMixerPlayer::logException(const char* where) noexcept {
    try {
        m_pLogger->error(std::string("Exception:CSoundMixerPlayer::") + where);
    } catch (...) {
        // Out of memory even for the message: the sound is lost, nothing else.
    }
}
