# What every target of the project is built with; linked privately, so that programs that use the
# library keep their own choice.
add_library(qvorlin_build_flags INTERFACE)
target_compile_options(qvorlin_build_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wvla
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi>
    $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes>
    $<$<BOOL:${QVORLIN_WERROR}>:-Werror>)
target_compile_definitions(qvorlin_build_flags INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_STRICT_ITERATORS)
if(QVORLIN_SANITIZE)
    target_compile_options(qvorlin_build_flags INTERFACE
        -fsanitize=${QVORLIN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(qvorlin_build_flags INTERFACE -fsanitize=${QVORLIN_SANITIZE})
endif()
# Symbols stay replaceable by the program that loads the library: no -Bsymbolic, no
# -fno-semantic-interposition here.
target_link_options(qvorlin_build_flags INTERFACE LINKER:--as-needed LINKER:-z,defs)
if(QVORLIN_SANITIZE)
    # The sanitizer runtime is only found at load time.
    target_link_options(qvorlin_build_flags INTERFACE LINKER:-z,undefs)
endif()

# qvorlin_add_library(<target> <exported name> [SOURCES...])
# A shared library of the project, installed and exported as QVorlin::<exported name>.
function(qvorlin_add_library target name)
    add_library(${target} SHARED ${ARGN})
    add_library(QVorlin::${name} ALIAS ${target})
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${name}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
    # Only for the build: the installed targets must not know these flags.
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:qvorlin_build_flags>)
    target_include_directories(${target} PUBLIC
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qvorlin>)
    install(TARGETS ${target} EXPORT QVorlinTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()

# qvorlin_add_program(<target> [SOURCES...]): a program that is installed.
function(qvorlin_add_program target)
    add_executable(${target} ${ARGN})
    target_link_libraries(${target} PRIVATE qvorlin_build_flags)
    install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()
