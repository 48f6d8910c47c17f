#pragma once

// The kinds of UUID the program writes.
enum UuidType : int {
    UuidV4 = 0, // random
    UuidV7 = 1, // time-ordered
};
