# COSUPDATE_SANITIZERS: sanitizers for every target of the build, for instance
# "address;undefined" (the asan and fuzz presets). This is the one way to
# build with sanitizers. Any finding ends the process, so a test that trips
# one fails.
set(COSUPDATE_SANITIZERS "" CACHE STRING "Sanitizers to build with, e.g. address;undefined")

if(COSUPDATE_SANITIZERS)
    list(JOIN COSUPDATE_SANITIZERS "," _cosupdate_sanitizers)
    add_compile_options(-fsanitize=${_cosupdate_sanitizers} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${_cosupdate_sanitizers})

    # clang links its sanitizer runtime into executables only, which leaves a
    # shared library linked with --no-undefined unresolved. Link the shared
    # runtime into both and let the executables find it.
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
                        OUTPUT_VARIABLE _cosupdate_runtime_dir
                        OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
        add_link_options(-shared-libsan LINKER:-rpath,${_cosupdate_runtime_dir})
    endif()
endif()

# Fuzz builds: coverage instrumentation for every target, so that the library
# and the simulation kernel guide libFuzzer too. Only the fuzz programs link
# libFuzzer itself (fuzz/CMakeLists.txt); with the shared sanitizer runtime
# above, the libraries' coverage counters register with the libFuzzer of the
# program that loads them.
if(COSUPDATE_BUILD_FUZZERS AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
