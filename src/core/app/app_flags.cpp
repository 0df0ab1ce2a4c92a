#include "core/app/app_flags.h"

namespace sonivert {

AppFlags &Flags()
{
    static AppFlags flags;
    return flags;
}

} // namespace sonivert
