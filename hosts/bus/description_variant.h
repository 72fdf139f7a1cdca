#pragma once

#include <gio/gio.h>

#include "ui/item_words.h"

namespace kelvo {

// What DescribeItems answers; floating.
GVariant* DescriptionsToVariant(const WordsOfItems& items);

}  // namespace kelvo
