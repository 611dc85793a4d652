# One build target per layer: strict warnings, hardening or the sanitizers asked for, and only the layers below to
# link with.

add_library(vexmora_options INTERFACE)
target_compile_options(vexmora_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual
  -Wnon-virtual-dtor -Woverloaded-virtual -Wundef
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)  # GCC 12 takes std::string + std::string for an overlapping copy
if(CMAKE_UNITY_BUILD)  # GCC takes a source that is compiled together with others for a header
  target_compile_options(vexmora_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()
# What is released reads hostile bytes: faults that slip through end the process instead of being used.
if(VEXMORA_HARDEN AND NOT VEXMORA_SANITIZE)
  target_compile_options(vexmora_options INTERFACE
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:VEXMORA_UNGUARDED_STACK>>>:-fstack-protector-strong>
    $<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>)
  target_link_options(vexmora_options INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()
if(VEXMORA_SANITIZE)
  target_compile_options(vexmora_options INTERFACE
    -fsanitize=${VEXMORA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vexmora_options INTERFACE -fsanitize=${VEXMORA_SANITIZE})
endif()
if(VEXMORA_FUZZ)  # comparisons are not watched: that takes a third of the time, and start codes are in a dictionary
  target_compile_options(vexmora_options INTERFACE
    -fsanitize=fuzzer-no-link -fno-sanitize-coverage=trace-cmp)
  target_link_options(vexmora_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# vexmora_layer(NAME DIR SOURCES… [LINK TARGETS…]): a static library whose headers are included from DIR.
function(vexmora_layer name include_dir)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "SOURCES;LINK")
  add_library(${name} STATIC ${arg_SOURCES})
  target_include_directories(${name} PUBLIC ${include_dir})
  target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE vexmora_options)
endfunction()
