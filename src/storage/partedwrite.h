#pragma once

#include <cstddef>
#include <functional>
#include <vector>

class PartBuffer;

// A file written in parts that are made on several threads at once and sent out in their order
// by the calling thread, with only a few parts held at a time. The parts are made by `encode`,
// which must be safe to run on several threads; `write` runs on the calling thread only.
namespace PartedWrite {

struct Plan {
    int parts = 0;
    int helpers = 0; // threads beside the caller, which encodes too while no part is ready
};

// False as soon as `write` is; the parts still being made are finished and dropped.
bool run(const Plan& plan, const std::function<void(int part, std::vector<char>& out)>& encode,
         const std::function<bool(int part, const std::vector<char>& bytes)>& write);
// The same over buffers filled through a pointer (see PartBuffer); `out` comes empty.
bool run(const Plan& plan, const std::function<void(int part, PartBuffer& out)>& encode,
         const std::function<bool(int part, const char* bytes, std::size_t size)>& write);

// Helper threads for a save of about `bytes` bytes in `parts` parts on this machine: none for a
// small one, whose threads would cost more than they save.
int helpersFor(long long bytes, int parts);

} // namespace PartedWrite
