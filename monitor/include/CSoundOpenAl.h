// The sound player on OpenAL, with ALURE opening the device and loading the
// WAV files: three interface sounds kept loaded, any other file loaded when
// it is played.
#pragma once

#include <string>

#include "CSound.h"

// Threads: made on the simulator's thread while the plug-in starts, played
// from the client thread afterwards; never two at a time. No lock of its own.
//
// One source plays every sound, so a new sound cuts the one playing. A player
// without a device (none present, or the files missing) logs what failed and
// stays silent: it never throws and never calls OpenAL without a context.
class CSoundOpenAl : public CSound {
public:
    CSoundOpenAl(unsigned int* handle, const std::string& path, const std::string& language);
    ~CSoundOpenAl() override;

    void play(const std::string& name, bool common) override;
    void play(unsigned int id) override;

    // Whether the device opened.
    bool hasDevice() const { return m_bDevice; }
    // Whether the source is playing now.
    bool isPlaying() const;

private:
    static constexpr int kInterfaceSounds = 3;

    void initOpenAL();
    void closeOpenAL();
    void createSource();
    void checkSource();
    // True (and logged) when OpenAL reports an error.
    bool checkError(const std::string& what);
    // Deletes the buffer of the last sound played by name once the source
    // has let go of it.
    void releasePlayedBuffer();

    unsigned int m_buffers[kInterfaceSounds] = {0, 0, 0};
    unsigned int m_source = 0;
    // OpenAL keeps a buffer that the source still holds; it goes with the
    // next sound or when the player closes.
    unsigned int m_playedBuffer = 0;
    bool m_bDevice = false;
};
