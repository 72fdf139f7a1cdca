#pragma once

#include <glib-object.h>

#include "hosts/client/item_description.h"
#include KELVO_HOST_HEADER

namespace kelvo {

// The columns that a file manager's list can show of files: state, lock owner, permission.
void AddColumnInterface(GTypeModule* module, GType provider);

// The file's texts in them. Only from inside update_file_info; every time, lest a former text stay.
void AddColumnTexts(host::FileInfo* file, const ItemDescription& description);

}  // namespace kelvo
