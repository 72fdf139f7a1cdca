"""Messages as the Agent channel, and that of the dialog program, carries them."""
import plistlib
import struct


def archived(dictionary):
    keys = list(dictionary)
    objects = ["$null", {}] + keys + [dictionary[key] for key in keys] + [
        {"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]}]
    uid = [plistlib.UID(i) for i in range(len(objects))]
    objects[1] = {"NS.keys": uid[2:2 + len(keys)], "NS.objects": uid[2 + len(keys):-1],
                  "$class": uid[-1]}
    return plistlib.dumps({"$version": 100000, "$archiver": "NSKeyedArchiver", "$objects": objects,
                           "$top": {"root": uid[1]}}, fmt=plistlib.FMT_BINARY)


def unarchived(data):
    objects = plistlib.loads(data)["$objects"]
    return {objects[key.data]: objects[value.data]
            for key, value in zip(objects[1]["NS.keys"], objects[1]["NS.objects"])}


def framed(name, archive):
    return (struct.pack(">III", 0, 2, len(name)) + name.encode()
            + struct.pack(">I", len(archive)) + archive)


def take_message(buffer):
    """(name, dictionary) of the first whole message, which leaves the bytearray; else None."""
    if len(buffer) < 12:
        return None
    name_end = 12 + struct.unpack_from(">I", buffer, 8)[0]
    if len(buffer) < name_end + 4:
        return None
    end = name_end + 4 + struct.unpack_from(">I", buffer, name_end)[0]
    if len(buffer) < end:
        return None
    message = bytes(buffer[12:name_end]).decode(), unarchived(bytes(buffer[name_end + 4:end]))
    del buffer[:end]
    return message
