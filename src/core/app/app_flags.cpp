#include "core/app/app_flags.h"

namespace sonivert {

AppFlags &flags()
{
    static AppFlags flags;
    return flags;
}

} // namespace sonivert
