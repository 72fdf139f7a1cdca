#include "hosts/finder/services.h"

#include "platform/macos/asl_system_log.h"
#include "platform/macos/keychain_secret_store.h"
#include "platform/macos/mac_bundle.h"
#include "platform/macos/mac_desktop.h"
#include "platform/macos/mac_http_client.h"
#include "platform/macos/mac_user_defaults.h"

namespace kelvo {
namespace {

constexpr char kPrincipalClass[] = "FinderSync";

struct OwnServices {
  AslSystemLog systemLog = {};
  KeychainSecretStore secretStore = {};
  MacUserDefaults userDefaults = {};
  MacHttpClient httpClient = {};
  MacDesktop desktop = {};
  MacPasteboard pasteboard = {};
  Services services{secretStore,
                    userDefaults,
                    systemLog,
                    httpClient,
                    desktop,
                    pasteboard,
                    BundleForClass(kPrincipalClass)};
};

}  // namespace

const Services& PlatformServices() {
  static const auto* own = new OwnServices;
  return own->services;
}

}  // namespace kelvo
