# Warnings are errors on our own code; link this into every target we write.
add_library(cosupdate_warnings INTERFACE)
target_compile_options(cosupdate_warnings INTERFACE -Wall -Wextra -Werror)
