#include "util/fileparameterutilities.h"

namespace Utilities {

int numBytesPerChar(EncodingType type)
{
    if (type >= UTF_16 && type <= UTF_16_GUESSED_LE)
        return 2;
    if (type >= UTF_32 && type <= UTF_32_GUESSED_LE)
        return 4;
    return 1;
}

} // namespace Utilities
