#include "preferences/theme.h"

Theme Theme::darkTheme() {
    return Theme();
}

Theme Theme::convertStringToTheme(const QString&) {
    return darkTheme();
}
