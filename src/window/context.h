#pragma once

#include <QtGlobal>

// The bits of what is true in a window now. Commands name the bits they need and the bits
// they can't run with; the window enables each command's action from the current set.
enum ContextBit : quint32 {
    ContextNone = 0,
    ContextTableReady = 1,       // a table is active and not loading
    ContextFoldersOpen = 2,      // a folder is open in the side bar
    ContextNotEditing = 4,       // a table has the focus and no cell edit runs
    ContextEditing = 8,          // a cell edit runs
    ContextEditorPaneShown = 16, // the editor pane is open
    ContextMultiSelection = 32,  // more than one cell is selected
    ContextFileOnDisk = 128,     // the active table has a file
    ContextLauncherOpen = 256,   // a launcher is on screen
    ContextFindOpen = 512,       // the find and replace area is on screen
    ContextFindMode = 1024,      // it shows find only
    ContextReplaceOpen = 2048,   // it shows replace
    ContextFiltersActive = 16384,
    ContextHiddenArrays = 32768,
    ContextFilteredOrHidden = 65536, // set with either of the two above: not all data shows
    ContextReadOnly = 0x20000,
    ContextAll = 0xFFFFFFFFu, // a command's rule that holds always
};

class Context {
public:
    constexpr Context() = default;
    constexpr Context(ContextBit bit) : bits(bit) {}
    constexpr explicit Context(quint32 value) : bits(value) {}

    constexpr quint32 value() const { return bits; }
    constexpr bool isAll() const { return bits == ContextAll; }
    constexpr bool isEmpty() const { return bits == 0; }
    // Whether every bit of `other` is set here.
    constexpr bool contains(Context other) const { return (bits & other.bits) == other.bits; }
    // Whether any bit of `other` is set here.
    constexpr bool intersects(Context other) const { return (bits & other.bits) != 0; }

    constexpr Context operator|(Context other) const { return Context(bits | other.bits); }
    constexpr Context operator&(Context other) const { return Context(bits & other.bits); }
    constexpr Context operator~() const { return Context(~bits); }
    constexpr Context operator+(Context other) const { return Context(bits | other.bits); }
    constexpr Context operator-(Context other) const { return Context(bits & ~other.bits); }
    constexpr Context& operator|=(Context other) {
        bits |= other.bits;
        return *this;
    }
    constexpr Context& operator&=(Context other) {
        bits &= other.bits;
        return *this;
    }
    constexpr bool operator==(const Context& other) const = default;

private:
    quint32 bits = 0;
};

constexpr Context operator|(ContextBit a, ContextBit b) {
    return Context(a) | Context(b);
}

// Adds `bits` with what they imply: a table that is ready and not editing has the focus,
// the replace part needs the find area, a filter means not all data shows. All ones is kept
// as it is.
void addContextGlobal(Context& context, Context bits);
// Clears `bits` and what depends on them.
void removeContextGlobal(Context& context, Context bits);
// The closure of `bits`: what holds whenever they are added to nothing.
Context modifyContext(Context bits);
// Whether two rules can hold at once, judged by their closures: true when they share a bit
// beyond the table being ready.
bool doContextsOverlap(Context a, Context b);
