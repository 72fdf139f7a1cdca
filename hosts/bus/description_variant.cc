#include "hosts/bus/description_variant.h"

namespace kelvo {

GVariant* DescriptionsToVariant(const WordsOfItems& items) {
  GVariantBuilder descriptions;
  g_variant_builder_init(&descriptions, G_VARIANT_TYPE("a(sss)"));
  for (const ItemWords& words : items.descriptions) {
    g_variant_builder_add(&descriptions, "(sss)", words.state.c_str(), words.lockOwner.c_str(),
                          words.permission.c_str());
  }
  return g_variant_new("(a(sss)@au)", &descriptions,
                       g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, items.which.data(),
                                                 items.which.size(), sizeof(items.which.front())));
}

}  // namespace kelvo
