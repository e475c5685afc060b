// Opening the audio device, loading the WAV files and playing them through
// the one source. OpenAL is the system's, opened when the player starts: a
// machine without it runs silently, and the plug-in still loads there.
// OpenAL has one current context for the whole process, which X-Plane 11 and
// other add-ons use too. Where OpenAL has contexts per thread
// (ALC_EXT_thread_local_context, as OpenAL Soft does) the player's context is
// current on the client thread alone, and no other thread ever sees it;
// elsewhere it is the process's current context only while the player works,
// and whatever was current before is put back each time.
#include "CSoundOpenAl.h"

#include <AL/al.h>
#include <AL/alc.h>

#include "CLogger.h"
#include "CSharedLibrary.h"
#include "CWaveFile.h"

// Every OpenAL function the player calls, taken from the library by name.
#define QUELBY_OPENAL_FUNCTIONS(X)                                                               \
    X(alcOpenDevice)                                                                             \
    X(alcCloseDevice) X(alcCreateContext) X(alcDestroyContext) X(alcMakeContextCurrent)          \
        X(alcGetCurrentContext) X(alGetError) X(alGenBuffers) X(alDeleteBuffers) X(alBufferData) \
            X(alGenSources) X(alDeleteSources) X(alIsSource) X(alSourcef) X(alSource3f)          \
                X(alSourcei) X(alGetSourcei) X(alSourcePlay) X(alSourceStop) X(alListenerfv)     \
                    X(alcIsExtensionPresent) X(alcGetProcAddress)

struct CSoundOpenAl::tOpenAl {
#define QUELBY_OPENAL_POINTER(name) decltype(&::name) name = nullptr;
    QUELBY_OPENAL_FUNCTIONS(QUELBY_OPENAL_POINTER)
#undef QUELBY_OPENAL_POINTER
    ALCdevice* device = nullptr;
    ALCcontext* context = nullptr;
    // The thread's own context, where OpenAL has it.
    ALCboolean (*alcSetThreadContext)(ALCcontext*) = nullptr;
    ALCcontext* (*alcGetThreadContext)() = nullptr;

    bool hasThreadContext() const {
        return alcSetThreadContext != nullptr && alcGetThreadContext != nullptr;
    }
    ALCcontext* current() const {
        return hasThreadContext() ? alcGetThreadContext() : alcGetCurrentContext();
    }
    bool makeCurrent(ALCcontext* which) const {
        return (hasThreadContext() ? alcSetThreadContext(which) : alcMakeContextCurrent(which)) ==
               ALC_TRUE;
    }
};

// Makes the player's context current for one use of OpenAL and puts back
// the one that was current before.
struct CSoundOpenAl::tContextScope {
    explicit tContextScope(tOpenAl& openAl) : al(openAl), previous(openAl.current()) {
        entered = previous == al.context || al.makeCurrent(al.context);
    }
    ~tContextScope() {
        if (previous != al.context) {
            al.makeCurrent(previous);
        }
    }
    tContextScope(const tContextScope&) = delete;
    tContextScope& operator=(const tContextScope&) = delete;

    tOpenAl& al;
    ALCcontext* const previous;
    bool entered = false;
};

CSoundOpenAl::CSoundOpenAl(unsigned int* handle, const std::string& path,
                           const std::string& language)
    // OpenAL's names on Linux, on Windows (the usual installer's and OpenAL
    // Soft's) and on macOS (its framework).
    : CSoundOpenAl(handle, path, language,
                   {"libopenal.so.1", "libopenal.so", "OpenAL32.dll", "soft_oal.dll",
                    "/System/Library/Frameworks/OpenAL.framework/OpenAL"}) {}

CSoundOpenAl::CSoundOpenAl(unsigned int* handle, const std::string& path,
                           const std::string& language,
                           std::initializer_list<const char*> libraryNames)
    : CSound(handle, path, language), m_al(std::make_unique<tOpenAl>()) {
    try {
        m_library = std::make_unique<CSharedLibrary>(libraryNames);
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
    if (!openDevice()) {
        return;
    }
    tContextScope scope(*m_al);
    if (!scope.entered) {
        m_pLogger->error("init alure: the sound device gave no context");
        closeDevice();
        return;
    }
    m_bDevice = true;
    if (checkError("init OpenAL")) {
        return;
    }
    m_al->alGenBuffers(static_cast<ALsizei>(kInterfaceSounds), m_buffers);
    if (checkError("generate buffers")) {
        return;
    }
    for (unsigned int id = 0; id < kInterfaceSounds; ++id) {
        loadBuffer(fileFor(interfaceSoundFile(id), true), m_buffers[id]);
    }
    createSource();
    const ALfloat zero[] = {0.0f, 0.0f, 0.0f};
    const ALfloat orientation[] = {0.0f, 0.0f, -1.0f, 0.0f, 1.0f, 0.0f};
    m_al->alListenerfv(AL_POSITION, zero);
    m_al->alListenerfv(AL_VELOCITY, zero);
    m_al->alListenerfv(AL_ORIENTATION, orientation);
}

bool CSoundOpenAl::openDevice() {
    if (!m_library->isOpen()) {
        m_pLogger->error("init alure: OpenAL is not installed, sounds stay off (" +
                         m_library->failure() + ")");
        return false;
    }
    bool complete = true;
#define QUELBY_OPENAL_LOAD(name)                                                   \
    m_al->name = reinterpret_cast<decltype(m_al->name)>(m_library->symbol(#name)); \
    complete = complete && m_al->name != nullptr;
    QUELBY_OPENAL_FUNCTIONS(QUELBY_OPENAL_LOAD)
#undef QUELBY_OPENAL_LOAD
    if (!complete) {
        m_pLogger->error("init alure: the OpenAL library lacks functions, sounds stay off");
        return false;
    }
    if (m_al->alcIsExtensionPresent(nullptr, "ALC_EXT_thread_local_context") == ALC_TRUE) {
        m_al->alcSetThreadContext = reinterpret_cast<ALCboolean (*)(ALCcontext*)>(
            m_al->alcGetProcAddress(nullptr, "alcSetThreadContext"));
        m_al->alcGetThreadContext = reinterpret_cast<ALCcontext* (*)()>(
            m_al->alcGetProcAddress(nullptr, "alcGetThreadContext"));
    }
    // The default device with a context of the player's own, current only
    // while the player uses it.
    m_al->device = m_al->alcOpenDevice(nullptr);
    if (m_al->device == nullptr) {
        m_pLogger->error("init alure: the sound device did not open");
        return false;
    }
    m_al->context = m_al->alcCreateContext(m_al->device, nullptr);
    if (m_al->context == nullptr) {
        m_pLogger->error("init alure: the sound device gave no context");
        closeDevice();
        return false;
    }
    return true;
}

void CSoundOpenAl::closeDevice() {
    if (m_al->context != nullptr) {
        // Never left current; this only guards against another add-on that
        // made it current itself.
        if (m_al->hasThreadContext() && m_al->alcGetThreadContext() == m_al->context) {
            m_al->alcSetThreadContext(nullptr);
        }
        if (m_al->alcGetCurrentContext() == m_al->context) {
            m_al->alcMakeContextCurrent(nullptr);
        }
        m_al->alcDestroyContext(m_al->context);
        m_al->context = nullptr;
    }
    if (m_al->device != nullptr) {
        m_al->alcCloseDevice(m_al->device);
        m_al->device = nullptr;
    }
}

bool CSoundOpenAl::loadBuffer(const std::string& file, unsigned int buffer) {
    tWaveData wave;
    std::string why;
    if (!readWaveFile(file, wave, why)) {
        m_pLogger->error("load wav: " + why + " (" + file + ")");
        return false;
    }
    const ALenum format = wave.channels == 1
                              ? (wave.bitsPerSample == 8 ? AL_FORMAT_MONO8 : AL_FORMAT_MONO16)
                              : (wave.bitsPerSample == 8 ? AL_FORMAT_STEREO8 : AL_FORMAT_STEREO16);
    m_al->alGetError();
    m_al->alBufferData(buffer, format, wave.samples.data(),
                       static_cast<ALsizei>(wave.samples.size()), wave.sampleRate);
    return !checkError("buffer wav: " + file);
}

void CSoundOpenAl::createSource() {
    m_al->alGetError();
    m_al->alGenSources(1, &m_source);
    if (checkError("generate source")) {
        m_source = 0;
        return;
    }
    m_al->alSourcef(m_source, AL_PITCH, 1.0f);
    m_al->alSourcef(m_source, AL_GAIN, 1.0f);
    m_al->alSource3f(m_source, AL_POSITION, 0.0f, 0.0f, 0.0f);
    m_al->alSource3f(m_source, AL_VELOCITY, 0.0f, 0.0f, 0.0f);
    m_al->alSourcei(m_source, AL_LOOPING, AL_FALSE);
}

void CSoundOpenAl::checkSource() {
    if (!m_al->alIsSource(m_source)) {
        m_pLogger->debug("invalid source, creating new one");
        // Name 0 was never generated: there is nothing to delete.
        if (m_source != 0) {
            m_al->alDeleteSources(1, &m_source);
        }
        createSource();
    }
}

bool CSoundOpenAl::checkError(const std::string& what) {
    if (m_al->alGetError() == AL_NO_ERROR) {
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
    tContextScope scope(*m_al);
    ALint state = AL_STOPPED;
    m_al->alGetSourcei(m_source, AL_SOURCE_STATE, &state);
    return state == AL_PLAYING;
}

void CSoundOpenAl::stopSource() {
    // A playing source refuses a new buffer, so the new sound cuts the old one.
    m_al->alSourceStop(m_source);
    m_al->alSourcei(m_source, AL_BUFFER, 0);
    if (m_playedBuffer != 0) {
        m_al->alDeleteBuffers(1, &m_playedBuffer);
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
    if (id >= kInterfaceSounds || !isEnabled() || !m_bDevice) {
        return;
    }
    try {
        tContextScope scope(*m_al);
        checkSource();
        stopSource();
        m_al->alGetError();
        m_al->alSourcei(m_source, AL_BUFFER, static_cast<ALint>(m_buffers[id]));
        if (checkError("bind buffer to source: " + std::to_string(id))) {
            return;
        }
        m_al->alSourcePlay(m_source);
        checkError("play sound: " + std::to_string(id));
    } catch (...) {
        logException("play");
    }
}

void CSoundOpenAl::play(const std::string& name, bool common) {
    try {
        const std::string file = fileFor(name, common);
        if (file.empty()) {
            return;
        }
        if (!m_bDevice) {
            m_pLogger->error("load wav: no sound device for " + file);
            return;
        }
        tContextScope scope(*m_al);
        m_al->alGetError();
        ALuint buffer = AL_NONE;
        m_al->alGenBuffers(1, &buffer);
        if (checkError("generate buffers")) {
            return;
        }
        if (!loadBuffer(file, buffer)) {
            m_al->alDeleteBuffers(1, &buffer);
            m_al->alGetError();
            return;
        }
        checkSource();
        stopSource();
        m_al->alGetError();
        m_al->alSourcei(m_source, AL_BUFFER, static_cast<ALint>(buffer));
        if (checkError("bind buffer to source: " + file)) {
            m_al->alDeleteBuffers(1, &buffer);
            m_al->alGetError();
            return;
        }
        m_al->alSourcePlay(m_source);
        const bool failed = checkError("play sound: " + file);
        if (!failed) {
            m_al->alDeleteBuffers(1, &buffer);
        }
        // OpenAL refuses to delete a buffer that a source still holds; it then
        // goes with the next sound or when the player closes.
        if (failed || m_al->alGetError() != AL_NO_ERROR) {
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
    {
        tContextScope scope(*m_al);
        // Buffers still attached to the source cannot be deleted.
        if (m_source != 0) {
            stopSource();
        }
        for (ALuint& buffer : m_buffers) {
            if (buffer != 0) {
                m_al->alDeleteBuffers(1, &buffer);
                buffer = 0;
            }
        }
        if (m_source != 0) {
            m_al->alDeleteSources(1, &m_source);
            m_source = 0;
        }
    }
    closeDevice();
    m_bDevice = false;
}
