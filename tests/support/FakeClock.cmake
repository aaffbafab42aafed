# Gives a test the clock and date of FakeClock.h. The product's objects are linked in directly: the
# linker wraps calls of the executable only, not those of a shared library.
function(zentho_use_fake_clock name)
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/FakeClock.cpp
                                   $<TARGET_OBJECTS:zentho_objects>)
    target_link_options(${name} PRIVATE LINKER:--wrap=gettimeofday LINKER:--wrap=time
                                        LINKER:--wrap=localtime)
endfunction()
