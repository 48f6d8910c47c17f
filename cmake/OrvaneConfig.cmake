# Compile settings every Orvane target links: language level, warnings, Qt safety defines.
add_library(orvane_config INTERFACE)
target_compile_features(orvane_config INTERFACE cxx_std_20)
target_compile_options(orvane_config INTERFACE -Wall -Wextra -Wpedantic -Wold-style-cast -Woverloaded-virtual
    -Wnon-virtual-dtor -Wcast-qual -Wconversion)
if(ORVANE_WERROR)
    target_compile_options(orvane_config INTERFACE -Werror)
endif()
target_compile_definitions(orvane_config INTERFACE
    QT_NO_CAST_TO_ASCII
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_FOREACH)

# Program code spells every string's encoding out (QStringLiteral, QLatin1String, fromUtf8); tests
# may keep writing plain literals.
function(orvane_strict_strings target)
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII)
endfunction()
