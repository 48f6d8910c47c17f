# Compile settings every Orvane target links: language level, warnings, Qt safety defines.
add_library(orvane_config INTERFACE)
target_compile_features(orvane_config INTERFACE cxx_std_20)
target_compile_options(orvane_config INTERFACE -Wall -Wextra -Wpedantic)
if(ORVANE_WERROR)
    target_compile_options(orvane_config INTERFACE -Werror)
endif()
target_compile_definitions(orvane_config INTERFACE
    QT_NO_CAST_TO_ASCII
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_FOREACH)
