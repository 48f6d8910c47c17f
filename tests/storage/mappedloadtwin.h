#pragma once

// ctest runs the loader's tests twice; the second time (ORVANE_TEST_MAPPED_LOAD set) every file,
// however small, is read in place through a mapping, and the tables must come out the same.

#include "storage/editabledatacontainer.h"

#include <QtGlobal>

inline void takeMappedLoadFromEnvironment() {
    if (qEnvironmentVariableIsSet("ORVANE_TEST_MAPPED_LOAD"))
        EditableDataContainer::setMappedLoadForTesting(EditableDataContainer::MappedLoad::Always);
}
