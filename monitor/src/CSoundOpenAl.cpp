// Opening the audio device, loading the WAV files and playing them through
// the one source.
#include "CSoundOpenAl.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alure.h>

#include "CLogger.h"

namespace {

const char* const kInterfaceSoundFiles[] = {"/snd_btn_click.wav", "/snd_btn_disabled.wav",
                                            "/snd_error.wav"};

std::string alureError() {
    const char* text = alureGetErrorString();
    return text != nullptr ? text : "";
}

}  // namespace

CSoundOpenAl::CSoundOpenAl(unsigned int* handle, const std::string& path,
                           const std::string& language)
    : CSound(handle, path, language) {
    try {
        initOpenAL();
    } catch (...) {
        logException("initOpenAL");
    }
}

CSoundOpenAl::~CSoundOpenAl() {
    try {
        closeOpenAL();
    } catch (...) {
        logException("closeOpenAL");
    }
}

void CSoundOpenAl::initOpenAL() {
    // Without a current context there is no error state to clear, and asking
    // for it would itself be an error.
    if (alcGetCurrentContext() != nullptr) {
        alGetError();
    }
    if (!alureInitDevice(nullptr, nullptr)) {
        m_pLogger->error("init alure: " + alureError());
        return;
    }
    m_bDevice = true;
    if (checkError("init OpenAL")) {
        return;
    }
    alGenBuffers(kInterfaceSounds, m_buffers);
    if (checkError("generate buffers")) {
        return;
    }
    for (int id = 0; id < kInterfaceSounds; ++id) {
        const std::string file = m_path + kInterfaceSoundFiles[id];
        if (!alureBufferDataFromFile(file.c_str(), m_buffers[id])) {
            m_pLogger->error("load wav: " + alureError());
        }
    }
    createSource();
    const ALfloat zero[] = {0.0f, 0.0f, 0.0f};
    const ALfloat orientation[] = {0.0f, 0.0f, -1.0f, 0.0f, 1.0f, 0.0f};
    alListenerfv(AL_POSITION, zero);
    alListenerfv(AL_VELOCITY, zero);
    alListenerfv(AL_ORIENTATION, orientation);
}

void CSoundOpenAl::createSource() {
    alGetError();
    alGenSources(1, &m_source);
    if (checkError("generate source")) {
        m_source = 0;
        return;
    }
    alSourcef(m_source, AL_PITCH, 1.0f);
    alSourcef(m_source, AL_GAIN, 1.0f);
    alSource3f(m_source, AL_POSITION, 0.0f, 0.0f, 0.0f);
    alSource3f(m_source, AL_VELOCITY, 0.0f, 0.0f, 0.0f);
    alSourcei(m_source, AL_LOOPING, AL_FALSE);
}

void CSoundOpenAl::checkSource() {
    if (!alIsSource(m_source)) {
        m_pLogger->debug("invalid source, creating new one");
        // Name 0 was never generated: there is nothing to delete.
        if (m_source != 0) {
            alDeleteSources(1, &m_source);
        }
        createSource();
    }
}

bool CSoundOpenAl::checkError(const std::string& what) {
    if (alGetError() == AL_NO_ERROR) {
        return false;
    }
    // The number is the truth of the test for a pending error, not OpenAL's code.
    m_pLogger->error("Failed to " + what + " (" + "Error Code " + "1" + ")");
    return true;
}

bool CSoundOpenAl::isPlaying() const {
    if (!m_bDevice || m_source == 0) {
        return false;
    }
    ALint state = AL_STOPPED;
    alGetSourcei(m_source, AL_SOURCE_STATE, &state);
    return state == AL_PLAYING;
}

void CSoundOpenAl::stopSource() {
    // A playing source refuses a new buffer, so the new sound cuts the old one.
    alSourceStop(m_source);
    alSourcei(m_source, AL_BUFFER, 0);
    if (m_playedBuffer != 0) {
        alDeleteBuffers(1, &m_playedBuffer);
        m_playedBuffer = 0;
    }
}

void CSoundOpenAl::logException(const char* where) noexcept {
    try {
        m_pLogger->error(std::string("Exception:CSoundOpenAl::") + where);
    } catch (...) {
        // Out of memory even for the message: the sound is lost, nothing else.
    }
}

void CSoundOpenAl::play(unsigned int id) {
    if (id >= static_cast<unsigned int>(kInterfaceSounds) || !isEnabled() || !m_bDevice) {
        return;
    }
    try {
        checkSource();
        stopSource();
        alGetError();
        alSourcei(m_source, AL_BUFFER, static_cast<ALint>(m_buffers[id]));
        if (checkError("bind buffer to source: " + std::to_string(id))) {
            return;
        }
        alSourcePlay(m_source);
        checkError("play sound: " + std::to_string(id));
    } catch (...) {
        logException("play");
    }
}

void CSoundOpenAl::play(const std::string& name, bool common) {
    try {
        const std::string file =
            common ? m_path + "/" + name : m_path + "/" + m_language + "/" + name;
        if (!m_bDevice) {
            m_pLogger->error("load wav: no sound device for " + file);
            return;
        }
        alGetError();
        ALuint buffer = alureCreateBufferFromFile(file.c_str());
        if (buffer == AL_NONE) {
            m_pLogger->error("load wav: " + alureError());
            return;
        }
        checkSource();
        stopSource();
        alGetError();
        alSourcei(m_source, AL_BUFFER, static_cast<ALint>(buffer));
        if (checkError("bind buffer to source: " + file)) {
            alDeleteBuffers(1, &buffer);
            alGetError();
            return;
        }
        alSourcePlay(m_source);
        const bool failed = checkError("play sound: " + file);
        if (!failed) {
            alDeleteBuffers(1, &buffer);
        }
        // OpenAL refuses to delete a buffer that a source still holds; it then
        // goes with the next sound or when the player closes.
        if (failed || alGetError() != AL_NO_ERROR) {
            m_playedBuffer = buffer;
        }
    } catch (...) {
        logException("play");
    }
}

void CSoundOpenAl::closeOpenAL() {
    if (!m_bDevice) {
        return;
    }
    // Buffers still attached to the source cannot be deleted.
    if (m_source != 0) {
        stopSource();
    }
    for (ALuint& buffer : m_buffers) {
        if (buffer != 0) {
            alDeleteBuffers(1, &buffer);
            buffer = 0;
        }
    }
    if (m_source != 0) {
        alDeleteSources(1, &m_source);
        m_source = 0;
    }
    alureShutdownDevice();
    m_bDevice = false;
}
