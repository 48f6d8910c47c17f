#pragma once

#include <QHeaderView>

#include <initializer_list>
#include <vector>

// Headers that take many section resizes without painting in between, and paint once at the end.
// A header that paints looks up the resized section's place on every resize, and each resize
// makes it work out every place again: resizing all sections of a wide table one by one would
// take time in the square of their count. Holds nest: only the headers it stopped start again.
class SectionUpdatesHeld {
public:
    explicit SectionUpdatesHeld(std::initializer_list<QHeaderView*> list) {
        for (QHeaderView* header : list) {
            if (header && header->updatesEnabled()) {
                header->setUpdatesEnabled(false);
                held.push_back(header);
            }
        }
    }
    ~SectionUpdatesHeld() {
        for (QHeaderView* header : held) {
            header->setUpdatesEnabled(true);
            header->viewport()->update();
        }
    }
    SectionUpdatesHeld(const SectionUpdatesHeld&) = delete;
    SectionUpdatesHeld& operator=(const SectionUpdatesHeld&) = delete;

private:
    std::vector<QHeaderView*> held;
};
