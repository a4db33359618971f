# How every target of the project is made: the language, the warnings and the sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(ks_build_flags INTERFACE)
target_compile_options(ks_build_flags INTERFACE -Wall -Wextra -Wpedantic)
# As part of somebody else's project, a warning of their compiler must not stop their build.
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(ks_build_flags INTERFACE -Werror)
endif()
# g++ 12 sees overlapping copies in `"text" + std::string` when it optimises (its bug 105651).
target_compile_options(ks_build_flags INTERFACE $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-restrict>)
# Several sources in one: g++ then takes a test's fixture, private to its source, for a header's.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(ks_build_flags INTERFACE -Wno-subobject-linkage)
endif()
if(KS_SANITIZE)
  # The standard library checks indices, iterators and optionals in use.
  target_compile_definitions(ks_build_flags INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(ks_build_flags INTERFACE -fsanitize=${KS_SANITIZE} -fno-omit-frame-pointer
                                                  -fno-sanitize-recover=all)
  target_link_options(ks_build_flags INTERFACE -fsanitize=${KS_SANITIZE})
endif()

# ks_library(NAME [INSTALLED] SOURCES file... PUBLIC_HEADERS file... LINKS target...): one layer. Headers
# are included from the root of the project. A layer that is installed is static or shared by
# BUILD_SHARED_LIBS, and of its headers only the public ones are installed.
function(ks_library name)
  cmake_parse_arguments(arg "INSTALLED" "" "SOURCES;PUBLIC_HEADERS;LINKS;PRIVATE_LINKS" ${ARGN})
  if(arg_INSTALLED)
    add_library(${name} ${arg_SOURCES})
    add_library(KSBeaconSDK::${name} ALIAS ${name})
    set_property(GLOBAL APPEND PROPERTY KS_INSTALLED_LIBRARIES ${name})
  else()
    add_library(${name} STATIC ${arg_SOURCES})
  endif()
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${arg_PUBLIC_HEADERS})
  target_compile_features(${name} PUBLIC cxx_std_20)
  # Without a macro for exports the objects of a static and of a shared build are the same.
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON DEFINE_SYMBOL ""
                                           VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  target_link_libraries(${name} PUBLIC ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS} $<BUILD_INTERFACE:ks_build_flags>)
endfunction()

# ks_library_part(NAME SOURCES file... PUBLIC_HEADERS file...): another folder's share of the layer NAME.
function(ks_library_part name)
  cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC_HEADERS" ${ARGN})
  target_sources(${name} PRIVATE ${arg_SOURCES} PUBLIC FILE_SET HEADERS FILES ${arg_PUBLIC_HEADERS})
endfunction()

# ks_test(NAME SOURCES file... LINKS target...): one test program, found by CTest suite by suite.
function(ks_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${arg_LINKS} GTest::gmock GTest::gtest_main ks_build_flags)
  if("concurrent" IN_LIST arg_LABELS)
    set_property(GLOBAL APPEND PROPERTY KS_CONCURRENT_TESTS ${name})
  endif()
  if(NOT arg_LABELS)
    set(arg_LABELS plain)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${arg_LABELS}" TIMEOUT 300)
endfunction()
