// The log as the adapter calls it; asl.cc stands in for it.
#pragma once

#include "tests/macos/declarations/asl.h"
