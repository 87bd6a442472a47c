# COSUPDATE_HARDENING: what Debian's dpkg-buildflags add with hardening=+all,
# for every target: a stack protector, fortified C library calls (in
# optimised builds, where they work) and relocations read-only and resolved
# when loaded. The Debian packages come from these builds. Off under
# sanitizers, which do their own checking.
option(COSUPDATE_HARDENING "Build with Debian's hardening flags" ON)

if(COSUPDATE_HARDENING AND NOT COSUPDATE_SANITIZERS)
    add_compile_options(-fstack-protector-strong "$<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>")
    add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()
