#include <plexo/containers.h>

namespace qv7::plexo {

const char* version() noexcept {
    return "4.3";
}

} // namespace qv7::plexo
