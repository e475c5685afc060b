// The sound player's abstract base: where the sound files are, which language
// the spoken ones are in, and whether the interface sounds are on.
#pragma once

#include <memory>
#include <string>

class CLogger;

// Threads: made on the simulator's thread while the plug-in starts, used by
// the client thread afterwards (flight phases, blackbox rules, the options
// screen, button clicks). No lock of its own.
class CSound {
public:
    // Sound directory "sound", language "en", enabled.
    explicit CSound(unsigned int* handle);
    // The given directory and language, enabled.
    CSound(unsigned int* handle, const std::string& path, const std::string& language);
    CSound(const CSound&) = delete;
    CSound& operator=(const CSound&) = delete;

    // A file by name: in the sound directory itself when common, else in the
    // language's sub-directory. Heard even while the interface sounds are off.
    virtual void play(const std::string& name, bool common) = 0;
    // An interface sound: 0 click, 1 click on a disabled button, 2 error.
    virtual void play(unsigned int id) = 0;
    virtual ~CSound();

    // The interface sounds, by id: file names in the sound directory.
    static constexpr unsigned int kInterfaceSounds = 3;
    static const char* interfaceSoundFile(unsigned int id);

    void enable();
    void disable();
    void setPath(const std::string& path);
    void setLanguage(const std::string& language);

    const std::string& getPath() const { return m_path; }
    const std::string& getLanguage() const { return m_language; }
    // The last settings message, as logged.
    const std::string& getMessage() const { return m_message; }
    bool isEnabled() const { return m_bEnabled; }
    bool isPathSet() const { return m_bPathSet; }

protected:
    // Where a sound played by name lies (see play()), or "" (logged) for a
    // name that would lead out of the sound folder: an absolute one, or one
    // with a ".." in it. The rule file names sounds, and anyone may edit it.
    std::string fileFor(const std::string& name, bool common) const;

    std::unique_ptr<CLogger> m_pLogger;
    // Given by the creator and kept; the player does not use it.
    unsigned int* m_pHandle;
    std::string m_path;
    std::string m_language;
    std::string m_message;
    bool m_bEnabled = false;
    // True when the directory was given rather than defaulted.
    bool m_bPathSet = false;
};
