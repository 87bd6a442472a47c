# cosupdate::patch_kernel: the libnativecospatchkernel-zelmar.so the shipped
# library links by file name. The simulation kernel by default; the vendor's
# when COSUPDATE_PATCH_KERNEL names it. Either can replace the other at run time.
if(COSUPDATE_PATCH_KERNEL)
    add_library(cosupdate_vendor_patch_kernel SHARED IMPORTED GLOBAL)
    # Linked by search rather than by path: a kernel built without a SONAME
    # must still be recorded as a bare file name in our NEEDED entries.
    set_target_properties(cosupdate_vendor_patch_kernel PROPERTIES
        IMPORTED_LOCATION ${COSUPDATE_PATCH_KERNEL}
        IMPORTED_NO_SONAME TRUE)
    add_library(cosupdate::patch_kernel ALIAS cosupdate_vendor_patch_kernel)
elseif(TARGET nativecospatchkernel-zelmar)
    add_library(cosupdate::patch_kernel ALIAS nativecospatchkernel-zelmar)
endif()
