# What the library itself needs. Tests, benchmarks and tools find their own packages in their folders.
find_package(ICU 72 REQUIRED COMPONENTS uc i18n)
find_package(Boost 1.74 REQUIRED)   # headers only
find_package(Threads REQUIRED)

find_program(BRV_CCACHE ccache)
if(BRV_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${BRV_CCACHE})
endif()
