# kxcalc_add_library(<instruction set> [COMPILE_OPTIONS ...])
# adds the shared library kxcalc-<instruction set> (target kxcalc::<instruction set>) from all sources under src/.
file(GLOB KXCALC_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*/*.cpp)

function(kxcalc_add_library variant)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "COMPILE_OPTIONS")
  # The instruction set, on its own: what the tests of the internal lane kit are compiled with too.
  add_library(kxcalc-isa-${variant} INTERFACE)
  target_compile_options(kxcalc-isa-${variant} INTERFACE ${arg_COMPILE_OPTIONS})

  set(target kxcalc-${variant})
  add_library(${target} SHARED ${KXCALC_SOURCES})
  add_library(kxcalc::${variant} ALIAS ${target})
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:kxcalc-isa-${variant}>)
  target_compile_options(${target} PRIVATE
    -fno-exceptions -fno-rtti -fno-threadsafe-statics # nothing of the C++ run-time library is needed
    -fvisibility=hidden
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wmissing-declarations,-Wmissing-prototypes>) # for what the header does not declare
  target_compile_definitions(${target} PRIVATE KXCALC_BUILDING)
  target_include_directories(${target}
    PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    PRIVATE ${PROJECT_SOURCE_DIR}/src)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME ${variant} CXX_EXTENSIONS ON)
  kxcalc_set_floating_point_model(${target})
  kxcalc_set_warnings(${target})
  kxcalc_lint(${target})
  kxcalc_set_link_options(${target})
  if(WIN32) # the file is kxcalc-<instruction set>.dll everywhere
    set_target_properties(${target} PROPERTIES PREFIX "" SOVERSION "" VERSION "")
  endif()
endfunction()

function(kxcalc_set_link_options target)
  kxcalc_set_exports(${target})
  if(WIN32) # the platform's start-up code calls the load hook
    target_link_options(${target} PRIVATE -static-libgcc -static-libstdc++)
    return()
  endif()
  target_link_options(${target} PRIVATE LINKER:--as-needed) # drops the C++ run-time library, which nothing refers to
  if(NOT KXCALC_SANITIZE) # sanitizers bring symbols that the program resolves, and start-up code
    target_link_options(${target} PRIVATE
      LINKER:-z,defs # an undefined symbol fails the link, not the host that loads the library
      -nostartfiles) # nothing runs at load: the compiler's start-up files serve static constructors, and there are none
  endif()
endfunction()

# kxcalc_add_chosen_library(<instruction set> <folder>)
# links the finished library once more, as libkxcalc.so.2 in the folder: the loader of glibc takes the best of such folders that the
# processor runs. A file needs a name of its own to be found through the loader's cache, so a link to the other would not do.
function(kxcalc_add_chosen_library variant folder)
  set(target kxcalc-chosen-${variant})
  add_library(${target} SHARED $<TARGET_OBJECTS:kxcalc-${variant}>)
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME kxcalc EXPORT_NAME kxcalc LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/chosen/${folder})
  kxcalc_set_link_options(${target})
endfunction()
