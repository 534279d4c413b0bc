# What every target of this project is compiled with. An interface target, so
# that a project that takes us in with add_subdirectory keeps its own settings.
add_library(BrailleTranslateSettings INTERFACE)
target_compile_features(BrailleTranslateSettings INTERFACE cxx_std_17)
target_compile_options(BrailleTranslateSettings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wold-style-cast
  # Log records and assertions name files from the project's root, wherever the build folder is.
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")

option(BRAILLETRANSLATE_WERROR "Treat compiler warnings as errors" OFF)
if(BRAILLETRANSLATE_WERROR)
  target_compile_options(BrailleTranslateSettings INTERFACE -Werror)
endif()

set(BRAILLETRANSLATE_SANITIZE "" CACHE STRING
  "Sanitizers to build with, such as address,undefined; findings are fatal")
if(BRAILLETRANSLATE_SANITIZE)
  set(sanitizers -fsanitize=${BRAILLETRANSLATE_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    # A function of Thumb code has an odd address, which UBSan takes for a misaligned one.
    list(APPEND sanitizers -marm)
  endif()
  target_compile_options(BrailleTranslateSettings INTERFACE ${sanitizers})
  target_link_options(BrailleTranslateSettings INTERFACE ${sanitizers})
endif()

option(BRAILLETRANSLATE_COVERAGE "Build with coverage counters" OFF)
if(BRAILLETRANSLATE_COVERAGE)
  target_compile_options(BrailleTranslateSettings INTERFACE --coverage)
  target_link_options(BrailleTranslateSettings INTERFACE --coverage)
endif()

if(BRAILLETRANSLATE_FUZZERS)
  # Coverage steers the fuzzers; profiles tell lines that inputs reach from those they do not.
  set(fuzzing -fsanitize=fuzzer-no-link -fprofile-instr-generate=/dev/null -fcoverage-mapping)
  target_compile_options(BrailleTranslateSettings INTERFACE ${fuzzing})
  target_link_options(BrailleTranslateSettings INTERFACE ${fuzzing})
endif()
