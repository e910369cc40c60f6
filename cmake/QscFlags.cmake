# How everything is compiled: qsc_warnings for all code, qsc_product for what goes onto a device.

set(QSC_SANITIZE "" CACHE STRING "Sanitizers of every target: empty, address (with undefined) or thread")
set_property(CACHE QSC_SANITIZE PROPERTY STRINGS "" address thread)

add_library(qsc_warnings INTERFACE)
target_compile_options(qsc_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wcast-qual -Wconversion -Wformat=2 -Wwrite-strings
  $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations>
  $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>)

# The C++ runtime is not on the device: no exceptions, no RTTI, linked with the C driver (see qsc_add_product).
# Whatever an exported function is called by, the library included, reaches it through the dynamic linker: a function
# pointer means the same in every kind of host, and a host's own definition is heard inside. So no -Bsymbolic in any
# form, and no inlining of what can be replaced.
add_library(qsc_product INTERFACE)
target_compile_options(qsc_product INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  -fvisibility=hidden -fno-asynchronous-unwind-tables -ffunction-sections -fdata-sections
  -fsemantic-interposition -fstack-protector-strong)
target_link_options(qsc_product INTERFACE
  -Wl,-z,relro,-z,now,-z,noexecstack,-z,noseparate-code,--gc-sections,--as-needed)
target_link_libraries(qsc_product INTERFACE qsc_warnings)

# What counts by its size. Left to itself the compiler calls even what would be a few instructions, some 5 % of the code.
set(QSC_SMALL $<$<CONFIG:RelWithDebInfo,Release>:-Os>
  $<$<AND:$<CONFIG:RelWithDebInfo,Release>,$<CXX_COMPILER_ID:GNU>>:--param=max-inline-insns-size=2>)

if(QSC_SANITIZE STREQUAL "address")
  set(sanitize -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(QSC_SANITIZE STREQUAL "thread")
  set(sanitize -fsanitize=thread -fno-omit-frame-pointer)
elseif(QSC_SANITIZE)
  message(FATAL_ERROR "QSC_SANITIZE is '${QSC_SANITIZE}': use address, thread or nothing")
endif()
if(QSC_SANITIZE)
  add_compile_options(${sanitize})
  add_link_options(${sanitize})
else()
  # The sanitizers' own symbols are found only when the program is linked.
  target_link_options(qsc_product INTERFACE -Wl,-z,defs)
endif()

# Relative relocations, packed: a tenth of the size where the loader knows them (glibc 2.36, musl 1.2.4 and later).
include(CheckLinkerFlag)
check_linker_flag(C "-Wl,-z,pack-relative-relocs" QSC_HAS_RELR)
option(QSC_RELR "Pack relative relocations" ${QSC_HAS_RELR})
if(QSC_RELR AND NOT QSC_SANITIZE)
  target_link_options(qsc_product INTERFACE -Wl,-z,pack-relative-relocs)
endif()

# Marks a library or program as product code: strict flags, and no C++ runtime at link time.
function(qsc_add_product target)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    # Templates of the standard library keep its default visibility; only our own names leave a library.
    target_link_options(${target} PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
  endif()
  target_link_libraries(${target} PRIVATE qsc_product)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
endfunction()
