"""Other readers and writers of the archive's form, for NSKeyedArchiverTest.

usage: archives.py write FOLDER       archives of every kind, made with plistlib
       archives.py describe FILE      the graph of one of our archives, as JSON
"""
import json
import plistlib
import sys
from pathlib import Path
from plistlib import UID


def entry(*names):
    return {"$classname": names[0], "$classes": list(names) + ["NSObject"]}


def archive(objects, top=None):
    return {"$archiver": "NSKeyedArchiver", "$version": 100000,
            "$top": top or {"root": UID(1)}, "$objects": ["$null"] + objects}


def every_kind():
    """A mutable dictionary of every kind of value; "list" and "again" are one list."""
    keys = ["text", "wide", "small", "negative", "huge", "real", "yes", "date", "uuid", "data",
            "list", "again", "set", "nothing"]
    values = ["caf\u00e9 \U0001F600", "x" * 300, 7, -3, 2**64 - 1, 2.5, True]
    objects = [{"NS.keys": [], "NS.objects": [], "$class": UID(2)},
               entry("NSMutableDictionary", "NSDictionary")]

    def add(value):
        objects.append(value)
        return UID(len(objects))

    references = [add(value) for value in values]
    date_class, uuid_class = add(entry("NSDate")), add(entry("NSUUID"))
    data_class, list_class = add(entry("NSMutableData", "NSData")), add(entry("NSMutableArray", "NSArray"))
    set_class, null_class = add(entry("NSSet")), add(entry("NSNull"))
    references.append(add({"NS.time": 86400.5, "$class": date_class}))
    references.append(add({"NS.uuidbytes": bytes(range(16)), "$class": uuid_class}))
    references.append(add({"NS.data": b"\x00\x01\xff", "$class": data_class}))
    shared = add({"NS.objects": [references[0], references[2]], "$class": list_class})
    references += [shared, shared]
    references.append(add({"NS.objects": [references[2]], "$class": set_class}))
    references.append(add({"$class": null_class}))
    objects[0]["NS.keys"] = [add(key) for key in keys]
    objects[0]["NS.objects"] = references
    return archive(objects)


def hostile():
    looped = archive([{"NS.objects": [UID(1)], "$class": UID(2)}, entry("NSArray")])
    deep = [{"NS.objects": [UID(i + 3)], "$class": UID(2)} for i in range(5000)]
    deep = archive([deep[0] | {"NS.objects": [UID(3)]}, entry("NSArray")] + deep[:-1] + ["end"])
    # Each list names the next one twice: 2^64 paths, but 64 objects.
    doubled = [{"NS.objects": [UID(i + 4)] * 2, "$class": UID(2)} for i in range(64)]
    wide = archive([{"NS.objects": [UID(3)], "$class": UID(2)}, entry("NSArray")] + doubled + ["end"])
    lost = archive([{"NS.objects": [UID(99)], "$class": UID(2)}, entry("NSArray")])
    stranger = archive([{"name": UID(3), "$class": UID(2)}, entry("SomebodyElse"), "x"])
    classless = archive([{"name": UID(2)}, "x"])
    mistyped = archive([{"text": UID(3), "$class": UID(2)}, entry("Note"), 5])
    return {"looped": looped, "deep": deep, "wide": wide, "lost": lost, "stranger": stranger,
            "classless": classless, "mistyped": mistyped}


def with_dictionaries(value):
    """As a converter without references leaves it."""
    if isinstance(value, UID):
        return {"CF$UID": value.data}
    if isinstance(value, list):
        return [with_dictionaries(item) for item in value]
    return {k: with_dictionaries(v) for k, v in value.items()} if isinstance(value, dict) else value


def others():
    """What other writers do differently, and records that are not as they should be."""
    kinds = archive([
        {"NS.keys": [UID(i) for i in (3, 4, 5, 6)], "NS.objects": [UID(i) for i in (7, 9, 11, 3)],
         "$class": UID(2)}, entry("NSDictionary"), "time", "url", "ordered", 7,
        {"NS.time": 86400, "$class": UID(8)}, entry("NSDate"),
        {"NS.base": UID(0), "NS.relative": UID(4), "$class": UID(10)}, entry("NSURL"),
        {"NS.object.0": UID(3), "NS.object.1": UID(6), "$class": UID(12)}, entry("NSOrderedSet")])
    records = archive([{"NS.objects": [UID(3), UID(5), UID(7)], "$class": UID(2)}, entry("NSArray"),
                       {"text": UID(6), "$class": UID(4)}, entry("Note"), {"$class": UID(4)}, 5,
                       {"$class": UID(8)}, entry("SomebodyElse")])
    shared = archive([{"NS.objects": [UID(3)] * 10000, "$class": UID(2)}, entry("NSArray"), "x" * 100000])
    return {"kinds": kinds, "converted": with_dictionaries(kinds), "records": records, "shared": shared}


def write(folder):
    for name, content in {"every": every_kind(), **hostile(), **others()}.items():
        (folder / f"{name}.bin").write_bytes(plistlib.dumps(content, fmt=plistlib.FMT_BINARY))


def described(objects, reference, open_objects):
    index = reference.data
    value = objects[index]
    if index == 0:
        return None
    if isinstance(value, dict):
        name = objects[value["$class"].data]["$classname"]
        if index in open_objects:
            return {"cycle": name}
        inner = open_objects | {index}
        if "NS.keys" in value:
            return {described(objects, k, inner): described(objects, v, inner)
                    for k, v in zip(value["NS.keys"], value["NS.objects"])}
        if "NS.objects" in value:
            return [described(objects, item, inner) for item in value["NS.objects"]]
        fields = {k: described(objects, v, inner) if isinstance(v, UID) else v
                  for k, v in value.items() if k != "$class"}
        return {"class": objects[value["$class"].data]["$classes"], **fields}
    return value


def describe(path):
    content = plistlib.loads(path.read_bytes())
    assert content["$archiver"] == "NSKeyedArchiver" and content["$version"] == 100000
    graph = {key: described(content["$objects"], value, frozenset()) for key, value in content["$top"].items()}
    print(json.dumps({"objects": len(content["$objects"]), **graph}, sort_keys=True,
                     default=lambda value: value.hex() if isinstance(value, bytes) else str(value)))


if __name__ == "__main__":
    if sys.argv[1] == "write":
        write(Path(sys.argv[2]))
    else:
        describe(Path(sys.argv[2]))
