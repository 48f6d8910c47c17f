#include "window/context.h"

namespace {

// Bits that need a table without saying whether it edits.
constexpr quint32 kNeedsTable = 2 | 32 | 64 | 128 | 256;
// The parts of the find area.
constexpr quint32 kFindParts = 1024 | 2048 | 4096;
constexpr quint32 kFocusBits = quint32{ContextNotEditing} | quint32{ContextEditing};

} // namespace

void addContextGlobal(Context& context, Context bits) {
    if (bits.isAll()) {
        context = Context(ContextAll);
        return;
    }
    quint32 c = context.value() | bits.value();
    const quint32 b = bits.value();
    if ((b & ContextTableReady) && !(c & ContextEditing))
        c |= ContextNotEditing;
    if (b & kNeedsTable) {
        c |= ContextTableReady;
        if (!(c & kFocusBits))
            c |= ContextNotEditing;
    }
    // Editing and not editing exclude each other; the one added last holds.
    if (b & ContextNotEditing) {
        c &= ~quint32(ContextEditing);
        c |= ContextTableReady;
    }
    if ((b & ContextEditing) && !(b & ContextNotEditing)) {
        c &= ~quint32(ContextNotEditing);
        c |= ContextTableReady;
    }
    if (b & kFindParts) {
        c |= quint32{ContextFindOpen} | quint32{ContextTableReady};
        if (!(c & kFocusBits))
            c |= ContextNotEditing;
    }
    if (b & 8192)
        c |= quint32{ContextFindOpen} | quint32{ContextTableReady};
    if (b & (quint32{ContextFiltersActive} | quint32{ContextHiddenArrays}))
        c |= quint32{ContextFilteredOrHidden} | quint32{ContextTableReady};
    context = Context(c);
}

void removeContextGlobal(Context& context, Context bits) {
    const quint32 b = bits.value();
    quint32 c = context.value() & ~b;
    if (b & ContextTableReady) {
        c &= ~kFocusBits;
    } else if (c != 0) {
        // Outside an edit is editing's opposite, while anything else still holds.
        if ((b & ContextNotEditing) && !(b & ContextEditing))
            c |= ContextEditing;
        if ((b & ContextEditing) && !(b & ContextNotEditing))
            c |= ContextNotEditing;
    }
    if (b & ContextFindOpen)
        c &= ~kFindParts;
    if ((b & ContextFiltersActive) && !(c & ContextHiddenArrays))
        c &= ~quint32(ContextFilteredOrHidden);
    if ((b & ContextHiddenArrays) && !(c & ContextFiltersActive))
        c &= ~quint32(ContextFilteredOrHidden);
    context = Context(c);
}

Context modifyContext(Context bits) {
    Context closure;
    addContextGlobal(closure, bits);
    return closure;
}

bool doContextsOverlap(Context a, Context b) {
    const quint32 shared = modifyContext(a).value() & modifyContext(b).value();
    return (shared & ~quint32(ContextTableReady)) != 0;
}
