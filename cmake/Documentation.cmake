# `cmake --build build/release --target docs` writes build/release/docs/html. A warning is a failure.
find_program(BRV_DOXYGEN doxygen)
if(BRV_DOXYGEN)
    configure_file(Doxyfile Doxyfile @ONLY)
    add_custom_target(docs
        COMMAND ${BRV_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        COMMENT "API documentation"
        VERBATIM)
endif()
