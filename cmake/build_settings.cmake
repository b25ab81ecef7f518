# plexo_build_settings: what every target of this project is compiled with, and nobody who links plexo inherits.
add_library(plexo_build_settings INTERFACE)
target_compile_features(plexo_build_settings INTERFACE cxx_std_20)
target_compile_options(plexo_build_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  # Results must not depend on whether the machine has fused multiply-add.
  -ffp-contract=off
  $<$<BOOL:${PLEXO_WARNINGS_AS_ERRORS}>:-Werror>)
