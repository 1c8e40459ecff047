# What the library itself needs. Tests, benchmarks and tools find their own packages in their folders.
find_package(ICU 72 REQUIRED COMPONENTS uc i18n)
find_package(Boost 1.74 REQUIRED)   # headers only
find_package(TBB 2021 REQUIRED)     # oneTBB
find_package(Threads REQUIRED)
find_package(ZLIB 1.2.13 REQUIRED)
find_package(CURL 7.88 REQUIRED)   # 7.87 for CURLOPT_QUICK_EXIT, 7.85 for the _STR options
find_package(OpenSSL 3.0 REQUIRED)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Network)

# TNT and JAMA are headers without a package file. Imported, hence system headers: their warnings do not count.
find_path(BRV_JAMA_INCLUDE_DIR jama/jama_svd.h REQUIRED)
find_path(BRV_TNT_INCLUDE_DIR tnt/tnt_array2d.h REQUIRED)
add_library(JAMA::JAMA INTERFACE IMPORTED)
target_include_directories(JAMA::JAMA INTERFACE ${BRV_JAMA_INCLUDE_DIR} ${BRV_TNT_INCLUDE_DIR})

find_program(BRV_CCACHE ccache)
if(BRV_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${BRV_CCACHE})
endif()
