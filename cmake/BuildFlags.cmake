# Flags of everything compiled here: library, tests, benchmarks, tools. Link brv_build_flags PRIVATE.
add_library(brv_build_flags INTERFACE)
target_compile_options(brv_build_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${BRV_WERROR}>:-Werror>
    -ffp-contract=off   # a * b + c has one result on every machine; tests compare results to the last bit
)

if(BRV_SANITIZE)
    target_compile_options(brv_build_flags INTERFACE
        -fsanitize=${BRV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(brv_build_flags INTERFACE -fsanitize=${BRV_SANITIZE})
endif()
if(BRV_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "BRV_BUILD_FUZZERS needs clang (preset fuzz)")
    endif()
    target_compile_options(brv_build_flags INTERFACE -fsanitize=fuzzer-no-link)   # coverage of the library itself
endif()
