// The emulated X-Plane's own exported functions, found by name as
// XPLMFindSymbol finds X-Plane's: one implementation per operating system.
#pragma once

namespace testbed::detail {

// The function this library exports under the name, or null; never one of
// the libraries it uses.
void* testbedExport(const char* name);

}  // namespace testbed::detail
