# How all of the project's code is compiled.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})

if(STAYBOLT_SANITIZER STREQUAL address)
    set(sanitizer -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(STAYBOLT_SANITIZER STREQUAL thread)
    set(sanitizer -fsanitize=thread -fno-omit-frame-pointer)
elseif(STAYBOLT_SANITIZER STREQUAL fuzzer)
    # The stand-in host declares the exports itself, so that their types have other names there.
    set(sanitizer -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize=function
        -fno-sanitize-recover=all)
elseif(STAYBOLT_SANITIZER)
    message(FATAL_ERROR "STAYBOLT_SANITIZER is address, thread or fuzzer, not ${STAYBOLT_SANITIZER}")
endif()
if(STAYBOLT_SANITIZER)
    # Names and lines for backtraces; the rest of what a debugger wants nearly doubles the compile time.
    add_compile_options(-O1 -g1 ${sanitizer})
    add_link_options(${sanitizer})
endif()

add_library(project_options INTERFACE)
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion
    # The same bytes wherever the sources lie.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
if(NOT CMAKE_UNITY_BUILD) # there, names in other files would count as shadowed
    target_compile_options(project_options INTERFACE -Wshadow)
endif()
target_compile_definitions(project_options INTERFACE
    QT_NO_KEYWORDS QT_NO_FOREACH
    # The client brings its own Qt, often older than the one that we build with.
    QT_NO_VERSION_TAGGING)

# For all but the tests.
add_library(strict_strings INTERFACE)
target_compile_definitions(strict_strings INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)
