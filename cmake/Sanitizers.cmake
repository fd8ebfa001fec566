# For every target at once: an instrumented program needs an instrumented library.
if(VESTA2_SANITIZER)
  # A report needs lines, and no more: the rest of the debug information takes long to write.
  add_compile_options(-fsanitize=${VESTA2_SANITIZER} -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${VESTA2_SANITIZER})
  if(VESTA2_SANITIZER MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
# The fuzzer looks where an input has led.
if(VESTA2_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
