#include "core/build_date.h"

namespace kelvo {

const char kBuildDate[] = __DATE__;
const char kBuildTime[] = __TIME__;

}  // namespace kelvo
