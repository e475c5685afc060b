// X-Plane's dataref accessors over the typed table: a read with an accessor
// the dataref does not have returns 0, a write with one is ignored, a write to
// a read-only dataref is ignored, and all of these are recorded.
#include <algorithm>
#include <cstring>

#include "SimulatorState.h"
#include "XPLMDataAccess.h"

using namespace testbed::detail;

namespace {

constexpr const char* kInvalidHandle = "<invalid handle>";

// The dataref behind a handle, or null (recorded) for one X-Plane never gave out.
DataRef* lookup(State& s, XPLMDataRef handle, const char* accessor) {
    for (const auto& ref : s.dataRefs) {
        if (ref.get() == handle) {
            return ref.get();
        }
    }
    recordDataRefMisuse(s, kInvalidHandle, accessor, "invalid handle");
    return nullptr;
}

DataRef* readable(State& s, XPLMDataRef handle, int type, const char* accessor) {
    DataRef* ref = lookup(s, handle, accessor);
    if (ref != nullptr && (ref->types & type) == 0) {
        recordDataRefMisuse(s, ref->name, accessor, "wrong type");
        return nullptr;
    }
    return ref;
}

DataRef* writable(State& s, XPLMDataRef handle, int type, const char* accessor) {
    DataRef* ref = readable(s, handle, type, accessor);
    if (ref != nullptr && !ref->writable) {
        recordDataRefMisuse(s, ref->name, accessor, "read-only");
        return nullptr;
    }
    return ref;
}

// How many of the elements [offset, offset + count) exist. A read may ask for
// more than there is (a buffer larger than the string is the usual way to read
// one); a write past the end, or any range starting outside the array, shows
// that the caller has the array's size wrong and is recorded.
int elementsInRange(State& s, const DataRef& ref, int offset, int count, bool isWrite,
                    const char* accessor) {
    const bool startsOutside = offset < 0 || count < 0 || offset > ref.arraySize;
    if (startsOutside || (isWrite && count > ref.arraySize - offset)) {
        recordDataRefMisuse(s, ref.name, accessor, "out of range");
    }
    if (offset < 0 || count < 0 || offset >= ref.arraySize) {
        return 0;
    }
    return std::min(count, ref.arraySize - offset);
}

}  // namespace

extern "C" {

XPLM_API XPLMDataRef XPLMFindDataRef(const char* inDataRefName) {
    SdkCall call("XPLMFindDataRef");
    if (inDataRefName == nullptr) {
        recordSdkMisuse(call.s, "XPLMFindDataRef: null name");
        return nullptr;
    }
    if (call.s.hiddenDataRefs.count(inDataRefName) != 0) {
        return nullptr;
    }
    const auto found = call.s.dataRefsByName.find(inDataRefName);
    return found == call.s.dataRefsByName.end() ? nullptr : found->second;
}

XPLM_API XPLMDataTypeID XPLMGetDataRefTypes(XPLMDataRef inDataRef) {
    SdkCall call("XPLMGetDataRefTypes");
    const DataRef* ref = lookup(call.s, inDataRef, "XPLMGetDataRefTypes");
    return ref == nullptr ? xplmType_Unknown : ref->types;
}

XPLM_API int XPLMGetDatai(XPLMDataRef inDataRef) {
    SdkCall call("XPLMGetDatai");
    const DataRef* ref = readable(call.s, inDataRef, xplmType_Int, "XPLMGetDatai");
    return ref == nullptr ? 0 : ref->value.intValue;
}

XPLM_API void XPLMSetDatai(XPLMDataRef inDataRef, int inValue) {
    SdkCall call("XPLMSetDatai");
    if (DataRef* ref = writable(call.s, inDataRef, xplmType_Int, "XPLMSetDatai")) {
        ref->value.intValue = inValue;
    }
}

XPLM_API float XPLMGetDataf(XPLMDataRef inDataRef) {
    SdkCall call("XPLMGetDataf");
    const DataRef* ref = readable(call.s, inDataRef, xplmType_Float, "XPLMGetDataf");
    return ref == nullptr ? 0.0f : static_cast<float>(ref->value.realValue);
}

XPLM_API void XPLMSetDataf(XPLMDataRef inDataRef, float inValue) {
    SdkCall call("XPLMSetDataf");
    if (DataRef* ref = writable(call.s, inDataRef, xplmType_Float, "XPLMSetDataf")) {
        ref->value.realValue = inValue;
    }
}

XPLM_API double XPLMGetDatad(XPLMDataRef inDataRef) {
    SdkCall call("XPLMGetDatad");
    const DataRef* ref = readable(call.s, inDataRef, xplmType_Double, "XPLMGetDatad");
    return ref == nullptr ? 0.0 : ref->value.realValue;
}

XPLM_API void XPLMSetDatad(XPLMDataRef inDataRef, double inValue) {
    SdkCall call("XPLMSetDatad");
    if (DataRef* ref = writable(call.s, inDataRef, xplmType_Double, "XPLMSetDatad")) {
        ref->value.realValue = inValue;
    }
}

XPLM_API int XPLMGetDatavf(XPLMDataRef inDataRef, float* outValues, int inOffset, int inMax) {
    SdkCall call("XPLMGetDatavf");
    const DataRef* ref = readable(call.s, inDataRef, xplmType_FloatArray, "XPLMGetDatavf");
    if (ref == nullptr) {
        return 0;
    }
    if (outValues == nullptr) {
        return ref->arraySize;  // X-Plane's way of asking for the size
    }
    const int count = elementsInRange(call.s, *ref, inOffset, inMax, false, "XPLMGetDatavf");
    if (count > 0) {
        std::copy_n(ref->value.floats.begin() + inOffset, count, outValues);
    }
    return count;
}

XPLM_API void XPLMSetDatavf(XPLMDataRef inDataRef, float* inValues, int inOffset, int inCount) {
    SdkCall call("XPLMSetDatavf");
    DataRef* ref = writable(call.s, inDataRef, xplmType_FloatArray, "XPLMSetDatavf");
    if (ref == nullptr) {
        return;
    }
    if (inValues == nullptr) {
        recordDataRefMisuse(call.s, ref->name, "XPLMSetDatavf", "out of range");
        return;
    }
    const int count = elementsInRange(call.s, *ref, inOffset, inCount, true, "XPLMSetDatavf");
    if (count > 0) {
        std::copy_n(inValues, count, ref->value.floats.begin() + inOffset);
    }
}

XPLM_API int XPLMGetDatab(XPLMDataRef inDataRef, void* outValue, int inOffset, int inMaxBytes) {
    SdkCall call("XPLMGetDatab");
    const DataRef* ref = readable(call.s, inDataRef, xplmType_Data, "XPLMGetDatab");
    if (ref == nullptr) {
        return 0;
    }
    if (outValue == nullptr) {
        return ref->arraySize;
    }
    const int count = elementsInRange(call.s, *ref, inOffset, inMaxBytes, false, "XPLMGetDatab");
    if (count > 0) {
        std::memcpy(outValue, ref->value.bytes.data() + inOffset, static_cast<size_t>(count));
    }
    return count;
}

}  // extern "C"
