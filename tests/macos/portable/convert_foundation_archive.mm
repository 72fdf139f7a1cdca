// convert_foundation_archive archive|mutable|list FILE: as convert_property_list, by Foundation's
// own archiver; "mutable" archives a mutable dictionary with mutable strings.
#import <Foundation/Foundation.h>

#include <stdio.h>
#include <string.h>

static NSDictionary* MutableCopyOf(NSDictionary* list) {
  NSMutableDictionary* copy = [NSMutableDictionary dictionary];
  for (NSString* key in list) {
    id value = [list objectForKey:key];
    if ([value isKindOfClass:[NSString class]]) {
      value = [NSMutableString stringWithString:value];
    }
    [copy setObject:value forKey:key];
  }
  return copy;
}

int main(int argc, char** argv) {
  @autoreleasepool {
    if (argc != 3) return 2;
    NSData* bytes = [NSData dataWithContentsOfFile:[NSString stringWithUTF8String:argv[2]]];
    NSData* converted = nil;
    if (strcmp(argv[1], "list") == 0) {
      id list = [NSKeyedUnarchiver unarchiveObjectWithData:bytes];
      if (![list isKindOfClass:[NSDictionary class]]) return 1;
      converted = [NSPropertyListSerialization dataWithPropertyList:list
                                                             format:NSPropertyListBinaryFormat_v1_0
                                                            options:0
                                                              error:nullptr];
    } else {
      NSDictionary* list = [NSPropertyListSerialization propertyListWithData:bytes
                                                                     options:0
                                                                      format:nullptr
                                                                       error:nullptr];
      if (![list isKindOfClass:[NSDictionary class]]) return 1;
      if (strcmp(argv[1], "mutable") == 0) list = MutableCopyOf(list);
      converted = [NSKeyedArchiver archivedDataWithRootObject:list];
    }
    if ([converted length] == 0) return 1;
    fwrite([converted bytes], 1, [converted length], stdout);
    return 0;
  }
}
