// Fuzzes the NoDelimiterMultiByte loader variant; see loadfuzz.h for what is checked.
#include "loadfuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return LoadFuzz::run(data, size, LoadFuzz::Variant::NoDelimiterMultiByte);
}
