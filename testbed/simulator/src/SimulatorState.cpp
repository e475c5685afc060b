// The process's one simulator state and the guards around SDK calls and
// plug-in code: thread checks and misuse records.
#include "SimulatorState.h"

#include <cstdio>
#include <stdexcept>

namespace testbed::detail {

State& state() {
    static State* const s = [] {
        auto* created = new State;
        created->dataRefs = makeDataRefTable();
        for (const auto& ref : created->dataRefs) {
            created->dataRefsByName.emplace(ref->name, ref.get());
            if (!ref->formerName.empty()) {
                created->dataRefsByName.emplace(ref->formerName, ref.get());
            }
        }
        return created;
    }();
    return *s;
}

bool onSimulatorThread() {
    // instance() binds the simulator's thread the first time it runs.
    Simulator::instance();
    return std::this_thread::get_id() == state().simulatorThread;
}

std::string handleText(const void* handle) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", handle);
    return text;
}

void recordDataRefMisuse(State& s, const std::string& dataRef, const char* accessor,
                         const char* reason) {
    if (s.dataRefMisuses.size() < kMaxRecords) {
        s.dataRefMisuses.push_back(DataRefMisuse{dataRef, accessor, reason});
    }
}

void recordSdkMisuse(State& s, const std::string& text) {
    if (s.sdkMisuses.size() < kMaxRecords) {
        s.sdkMisuses.push_back(text);
    }
}

void* newHandle(State& s) {
    void* handle = reinterpret_cast<void*>(s.nextHandle);
    s.nextHandle += 0x10;
    return handle;
}

SdkCall::SdkCall(const char* function) : s(state()), lock() {
    const bool legal = onSimulatorThread() || s.pluginCodeDepth.load() > 0;
    lock = std::unique_lock<std::mutex>(s.mutex);
    if (!legal && s.threadViolations.size() < kMaxRecords) {
        s.threadViolations.push_back(function);
    }
}

PluginCodeScope::PluginCodeScope(bool drawCallback)
    : m_counted(onSimulatorThread()), m_drawCallback(drawCallback) {
    if (m_counted) {
        ++state().pluginCodeDepth;
        if (m_drawCallback) {
            ++state().drawCallbackDepth;
        }
    }
}

PluginCodeScope::~PluginCodeScope() {
    if (m_counted) {
        if (m_drawCallback) {
            --state().drawCallbackDepth;
        }
        --state().pluginCodeDepth;
    }
}

void requireSimulatorThread(const char* operation) {
    if (!onSimulatorThread()) {
        throw std::logic_error(std::string("testbed::Simulator::") + operation +
                               " must be called on the simulator's thread");
    }
}

}  // namespace testbed::detail
