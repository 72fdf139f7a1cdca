// The log as the adapter calls it; tests/macos/stand_ins/asl.cc stands in for it.
#pragma once

#include "platform/macos/off_mac/declarations/asl.h"
