// The sound settings shared by every player: directory, language, on/off, and
// the messages they log.
#include "CSound.h"

#include <filesystem>

#include "CLogger.h"

CSound::CSound(unsigned int* handle)
    : m_pLogger(std::make_unique<CLogger>("CSound")),
      m_pHandle(handle),
      m_path("sound"),
      m_language("en") {
    enable();
}

CSound::CSound(unsigned int* handle, const std::string& path, const std::string& language)
    : m_pLogger(std::make_unique<CLogger>("CSound")), m_pHandle(handle) {
    setPath(path);
    setLanguage(language);
    m_bPathSet = true;
    enable();
}

CSound::~CSound() = default;

const char* CSound::interfaceSoundFile(unsigned int id) {
    static const char* const kFiles[kInterfaceSounds] = {"snd_btn_click.wav",
                                                         "snd_btn_disabled.wav", "snd_error.wav"};
    return id < kInterfaceSounds ? kFiles[id] : nullptr;
}

std::string CSound::fileFor(const std::string& name, bool common) const {
    // A name is a path inside the sound folder, in any of the system's forms.
    const std::filesystem::path relative = std::filesystem::u8path(name);
    bool inside = !name.empty() && !relative.has_root_name() && !relative.has_root_directory();
    for (const std::filesystem::path& part : relative) {
        inside = inside && part != "..";
    }
    if (!inside) {
        m_pLogger->error("load wav: sound \"" + name +
                         "\" refused: sounds are taken from the sound folder only");
        return std::string();
    }
    return common ? m_path + "/" + name : m_path + "/" + m_language + "/" + name;
}

void CSound::enable() {
    m_pLogger->debug("Sound enabled.");
    m_bEnabled = true;
}

void CSound::disable() {
    m_pLogger->debug("Sound disabled.");
    m_bEnabled = false;
}

void CSound::setPath(const std::string& path) {
    try {
        m_path = path;
        m_message = "Sound directory: " + path;
        m_pLogger->debug(m_message);
        m_bPathSet = true;
    } catch (...) {
        try {
            m_message = "Exception:CSound::setPath Sound directory: " + path;
            m_pLogger->error(m_message);
        } catch (...) {
            // Out of memory even for the message: the settings stay as they were.
        }
    }
}

void CSound::setLanguage(const std::string& language) {
    m_language = language;
    m_message = "Sound language: " + language;
    m_pLogger->debug(m_message);
}
