// The choice of the sound output, made once when the client starts.
#include "CSoundOutput.h"

#include "CLogger.h"
#include "CSoundMixer.h"
#include "CSoundMixerPlayer.h"
#include "CSoundOpenAl.h"

namespace CSoundOutput {

namespace {

template <typename MakeOpenAl>
std::unique_ptr<CSound> choose(unsigned int* handle, const std::string& path,
                               const std::string& language, CSoundMixer* mixer,
                               MakeOpenAl makeOpenAl) {
    CLogger logger("CSound");
    if (mixer != nullptr && mixer->isAvailable()) {
        logger.debug("Sounds play through X-Plane's mixer, on the cockpit's bus");
        return std::make_unique<CSoundMixerPlayer>(handle, path, language, mixer);
    }
    std::unique_ptr<CSoundOpenAl> player = makeOpenAl();
    // Without a device the player has said why in its own log already, and
    // plays nothing; X-Plane's log hears it once too.
    if (player->hasDevice()) {
        logger.debug("Sounds play through OpenAL: this X-Plane has no mixer for plug-ins");
    } else {
        CLogger::support("sound",
                         "sounds are off: this X-Plane has no mixer for plug-ins and "
                         "no OpenAL sound device opened (see the debug log)");
    }
    return player;
}

}  // namespace

std::unique_ptr<CSound> makePlayer(unsigned int* handle, const std::string& path,
                                   const std::string& language, CSoundMixer* mixer) {
    return choose(handle, path, language, mixer,
                  [&] { return std::make_unique<CSoundOpenAl>(handle, path, language); });
}

std::unique_ptr<CSound> makePlayer(unsigned int* handle, const std::string& path,
                                   const std::string& language, CSoundMixer* mixer,
                                   std::initializer_list<const char*> openAlNames) {
    return choose(handle, path, language, mixer, [&] {
        return std::make_unique<CSoundOpenAl>(handle, path, language, openAlNames);
    });
}

}  // namespace CSoundOutput
