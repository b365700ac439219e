# Compile settings of this project's own targets; a consumer inherits the language level and nothing else.
#
# -ffp-contract=off is part of the behaviour, not a tuning choice: a fused multiply-add rounds once where the
# code rounds twice, so cross(u, v) would no longer be exactly -cross(v, u), and the algorithms that end
# because a quantity compares equal to itself after an edit would not end. -fno-math-errno changes no result: it
# lets a square root be the one instruction that it is.
function(qvgeom_compile_settings target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    # Sign conversions are everywhere where an int index meets a size_t container; the warning hides the
    # narrowing ones that matter.
    target_compile_options(${target} PRIVATE
      -ffp-contract=off -fno-math-errno -Wall -Wextra -Wshadow -Wconversion -Wno-sign-conversion
      $<$<BOOL:${QVGEOM_WERROR}>:-Werror>)
    # Exported functions may be inlined within the library: nobody replaces them from outside.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    endif()
    # g++ 12 reports overlapping copies inside std::string's operator+ that cannot happen.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
      target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
  endif()
endfunction()
