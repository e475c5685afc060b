// The sound player on OpenAL, for X-Plane without a mixer of its own for
// plug-ins (X-Plane 11, and 12 before 12.04): three interface sounds kept
// loaded, any other WAV file loaded when it is played. OpenAL is opened when
// the player is made; without it, or without a device, the player logs why
// and is silent. The player's context is current only while it works.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>

#include "CSound.h"

class CSharedLibrary;

// Threads: made on the simulator's thread while the plug-in starts, played
// from the client thread afterwards; never two at a time. No lock of its own.
//
// One source plays every sound, so a new sound cuts the one playing. Without
// a device the player logs why and stays silent, and it makes no OpenAL call
// that needs a context; missing files are logged when they are loaded. No
// exception leaves it.
class CSoundOpenAl : public CSound {
public:
    CSoundOpenAl(unsigned int* handle, const std::string& path, const std::string& language);
    // The OpenAL library is the first of these names the system finds.
    CSoundOpenAl(unsigned int* handle, const std::string& path, const std::string& language,
                 std::initializer_list<const char*> libraryNames);
    ~CSoundOpenAl() override;

    void play(const std::string& name, bool common) override;
    void play(unsigned int id) override;

    // Whether the device opened.
    bool hasDevice() const { return m_bDevice; }
    // Whether the source is playing now.
    bool isPlaying() const;

private:
    struct tOpenAl;
    struct tContextScope;

    void initOpenAL();
    void closeOpenAL();
    // Opens the library, the default device and a context; false (logged)
    // when any of them is missing.
    bool openDevice();
    void closeDevice();
    // Reads a WAV file into the buffer; false (logged) when it cannot.
    bool loadBuffer(const std::string& file, unsigned int buffer);
    void createSource();
    void checkSource();
    // True (and logged) when OpenAL reports an error.
    bool checkError(const std::string& what);
    // Stops the source, takes its buffer off and deletes the buffer of the
    // last sound played by name if OpenAL kept it.
    void stopSource();
    void logException(const char* where) noexcept;

    unsigned int m_buffers[kInterfaceSounds] = {0, 0, 0};
    unsigned int m_source = 0;
    // The buffer of a sound played by name that OpenAL would not delete while
    // the source held it.
    unsigned int m_playedBuffer = 0;
    bool m_bDevice = false;
    std::unique_ptr<CSharedLibrary> m_library;
    std::unique_ptr<tOpenAl> m_al;
};
