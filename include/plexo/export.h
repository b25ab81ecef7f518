#pragma once

/// Marks what the shared libraries export; everything else is compiled with hidden visibility.
#if defined(__GNUC__)
#define PLEXO_API __attribute__((visibility("default")))
#else
#define PLEXO_API
#endif
