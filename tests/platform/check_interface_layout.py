#!/usr/bin/env python3
"""Compares our POSIX interface declarations with the Windows SDK headers.

For every interface declared in platform/*.h, the base interface, the method
names in slot order, the return types and the parameter types must match the
MinGW-w64 SDK headers. Exits 77 (skipped) when those headers are not installed.
"""
import glob
import os
import re
import sys

SDK = "/usr/share/mingw-w64/include"
# Names that differ only by spelling between the two sides.
SAME_TYPE = {"WINBOOL": "BOOL", "LPVOID": "void*", "LONG_PTR": "LONG_PTR"}


def normalise_type(param):
    param = re.sub(r"\s+", " ", param.strip())
    if param in ("", "void"):
        return ""
    # Drop the parameter name: the last identifier, unless the text is only a type.
    match = re.match(r"^(.*?[\s\*&])(\w+)$", param)
    text = match.group(1) if match else param
    text = re.sub(r"\s+", "", text)
    for old, new in SAME_TYPE.items():
        text = re.sub(r"\b%s\b" % old, new, text)
    return text


def params(text):
    return [normalise_type(p) for p in text.split(",")] if text.strip() else []


def ours(root):
    interfaces = {}
    for path in glob.glob(os.path.join(root, "platform", "*.h")):
        src = open(path).read()
        for m in re.finditer(r"struct (I\w+) : public (I\w+) \{(.*?)\n\};", src, re.S):
            methods = []
            body = re.sub(r"\s+", " ", m.group(3))
            for mm in re.finditer(r"STDMETHOD(?:_\((\w+)\s*,\s*(\w+)\)|\((\w+)\))\s*\((.*?)\) PURE;", body):
                ret = mm.group(1) or "HRESULT"
                name = mm.group(2) or mm.group(3)
                methods.append((ret, name, params(mm.group(4))))
            interfaces[m.group(1)] = (m.group(2), methods)
    return interfaces


def sdk():
    text = ""
    for path in glob.glob(os.path.join(SDK, "*.h")):
        text += open(path, errors="ignore").read()
    return text


def sdk_interface(text, name):
    m = re.search(r"MIDL_INTERFACE\(\"[^\"]+\"\)\s*\n%s\s*:\s*public\s+(\w+)\s*\{(.*?)\n\};" % name, text, re.S)
    if not m:
        m = re.search(r"struct %s\s*:\s*public\s+(\w+)\s*\{(.*?)\n\s*\};" % name, text, re.S)
    if not m:
        return None
    body = re.sub(r"\s+", " ", m.group(2))
    methods = [(r.strip(), n, params(a))
               for r, n, a in re.findall(r"virtual (\w+) (?:STDMETHODCALLTYPE|WINAPI) (\w+)\((.*?)\) = 0;", body)]
    return m.group(1), methods


def main():
    if not os.path.isdir(SDK):
        print("MinGW-w64 SDK headers not installed; skipped")
        return 77
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "..")
    text = sdk()
    failures = 0
    checked = 0
    for name, (base, methods) in sorted(ours(root).items()):
        theirs = sdk_interface(text, name)
        if theirs is None:
            print("%s: not found in the SDK headers" % name)
            failures += 1
            continue
        checked += 1
        if base != theirs[0]:
            print("%s: base %s, SDK has %s" % (name, base, theirs[0]))
            failures += 1
        if methods != theirs[1]:
            print("%s differs from the SDK:" % name)
            for a, b in zip(methods + [None] * 40, theirs[1] + [None] * 40):
                if a != b and (a or b):
                    print("   ours %s\n   SDK  %s" % (a, b))
            failures += 1
    print("%d interfaces checked, %d differ" % (checked, failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
