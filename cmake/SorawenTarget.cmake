# Compile settings shared by every target the project writes itself (never by third-party code).
function(sorawen_target_defaults target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
    if(SORAWEN_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    target_compile_definitions(${target} PRIVATE
        QT_NO_CAST_FROM_ASCII
        QT_NO_CAST_TO_ASCII
        QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
        QT_NO_URL_CAST_FROM_STRING
        QT_DISABLE_DEPRECATED_BEFORE=0x060400)
endfunction()
