// The plug-in's binary as the system loads it: one implementation per
// operating system, as X-Plane has one.
#pragma once

#include <string>

namespace testbed::detail {

// The loaded module, or null with why in why.
void* openPluginModule(const std::string& path, std::string& why);
void closePluginModule(void* module);
void* pluginSymbol(void* module, const char* name);
// Whether a function's code lies in the module: how a callback the plug-in
// attached to someone else's widget is told from the others.
bool isInModule(const void* function, void* module);

}  // namespace testbed::detail
