// X-Plane's commands: made by name, found by name, handled by whoever
// registered for them, and run when the pilot presses what is bound to them.
#include <algorithm>

#include "SimulatorState.h"
#include "XPLMUtilities.h"

using namespace testbed::detail;

namespace testbed {

std::vector<CommandInfo> Simulator::commands() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    std::vector<CommandInfo> out;
    for (const auto& [ref, command] : state().commands) {
        out.push_back(CommandInfo{command.name, command.description,
                                  static_cast<int>(command.handlers.size())});
    }
    return out;
}

bool Simulator::runCommand(const std::string& name) {
    requireSimulatorThread("runCommand");
    XPLMCommandRef ref = nullptr;
    std::vector<CommandHandler> handlers;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        for (const auto& [candidate, command] : state().commands) {
            if (command.name == name) {
                ref = candidate;
                handlers = command.handlers;
            }
        }
    }
    if (ref == nullptr) {
        return false;
    }
    // The "before" handlers first; one that answers 0 ends the phase there.
    std::stable_sort(
        handlers.begin(), handlers.end(),
        [](const CommandHandler& a, const CommandHandler& b) { return a.before > b.before; });
    for (int phase : {xplm_CommandBegin, xplm_CommandEnd}) {
        for (const CommandHandler& handler : handlers) {
            int goOn = 1;
            {
                PluginCodeScope inPluginCode;
                goOn = handler.callback(ref, phase, handler.refcon);
            }
            if (goOn == 0) {
                break;
            }
        }
    }
    return true;
}

}  // namespace testbed

extern "C" {

XPLM_API XPLMCommandRef XPLMFindCommand(const char* inName) {
    SdkCall call("XPLMFindCommand");
    if (inName == nullptr) {
        return nullptr;
    }
    for (const auto& [ref, command] : call.s.commands) {
        if (command.name == inName) {
            return ref;
        }
    }
    return nullptr;
}

XPLM_API XPLMCommandRef XPLMCreateCommand(const char* inName, const char* inDescription) {
    SdkCall call("XPLMCreateCommand");
    if (inName == nullptr || *inName == '\0') {
        recordSdkMisuse(call.s, "XPLMCreateCommand: no name");
        return nullptr;
    }
    // An existing command is given back as it is.
    for (const auto& [ref, command] : call.s.commands) {
        if (command.name == inName) {
            return ref;
        }
    }
    Command command;
    command.name = inName;
    command.description = inDescription != nullptr ? inDescription : "";
    XPLMCommandRef ref = newHandle(call.s);
    call.s.commands.emplace(ref, std::move(command));
    return ref;
}

XPLM_API void XPLMRegisterCommandHandler(XPLMCommandRef inComand, XPLMCommandCallback_f inHandler,
                                         int inBefore, void* inRefcon) {
    SdkCall call("XPLMRegisterCommandHandler");
    const auto found = call.s.commands.find(inComand);
    if (found == call.s.commands.end() || inHandler == nullptr) {
        recordSdkMisuse(call.s, "XPLMRegisterCommandHandler: unknown command or no handler");
        return;
    }
    found->second.handlers.push_back(
        CommandHandler{inHandler, inBefore != 0 ? 1 : 0, inRefcon, call.s.pluginActive});
}

XPLM_API void XPLMUnregisterCommandHandler(XPLMCommandRef inComand, XPLMCommandCallback_f inHandler,
                                           int inBefore, void* inRefcon) {
    SdkCall call("XPLMUnregisterCommandHandler");
    const auto found = call.s.commands.find(inComand);
    if (found == call.s.commands.end()) {
        recordSdkMisuse(call.s, "XPLMUnregisterCommandHandler: unknown command");
        return;
    }
    auto& handlers = found->second.handlers;
    const auto handler =
        std::find_if(handlers.begin(), handlers.end(), [&](const CommandHandler& h) {
            return h.callback == inHandler && h.before == (inBefore != 0 ? 1 : 0) &&
                   h.refcon == inRefcon;
        });
    if (handler == handlers.end()) {
        recordSdkMisuse(call.s, "XPLMUnregisterCommandHandler: handler not registered");
        return;
    }
    handlers.erase(handler);
}

}  // extern "C"
