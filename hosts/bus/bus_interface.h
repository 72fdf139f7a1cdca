// The names of the file-manager bus; docs/protocol.md tells what the members mean.
#pragma once

#include <gio/gio.h>

namespace kelvo {

inline constexpr char kBusName[] = "com.kelvo.FinderSync";
inline constexpr char kBusPath[] = "/com/kelvo/FinderSync";
inline constexpr char kBusInterface[] = "com.kelvo.FinderSync1";

// What a client may export on its own connection.
inline constexpr char kHostPath[] = "/com/kelvo/FinderHost";
inline constexpr char kHostInterface[] = "com.kelvo.FinderHost1";

inline constexpr char kErrorInvalidPath[] = "com.kelvo.FinderSync1.Error.InvalidPath";
inline constexpr char kErrorStaleMenu[] = "com.kelvo.FinderSync1.Error.StaleMenu";
inline constexpr char kErrorDisabled[] = "com.kelvo.FinderSync1.Error.Disabled";
inline constexpr char kErrorNotStarted[] = "com.kelvo.FinderSync1.Error.NotStarted";

// The description of the interface; never freed. Any thread.
GDBusInterfaceInfo* BusInterfaceInfo();

}  // namespace kelvo
