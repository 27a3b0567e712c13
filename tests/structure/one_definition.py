#!/usr/bin/env python3
"""No two headers of a folder define the same function or the same type.

A program that includes both, in different sources, has two definitions of one name: the linker takes one of them, and
no compiler says so. Where they differ, callers of the other get what they did not ask for.

usage: one_definition.py FOLDER     prints each pair of definitions; fails when there is one
"""

import collections
import json
import pathlib
import re
import subprocess
import sys

COMMAND = ["ctags", "--sort=no", "--output-format=json", "--languages=C++", "--langmap=C++:.h", "--kinds-C++=fcsug",
           "--fields=+Sn", "-L", "-", "-f", "-"]


def definitions(headers):
    """What ctags reads of the headers: a dictionary for each function and type."""
    lines = subprocess.run(COMMAND, input="\n".join(map(str, headers)), capture_output=True, text=True, check=True)
    return [json.loads(line) for line in lines.stdout.splitlines()]


def parameters(signature):
    """The parameters' text one by one; a comma within brackets parts nothing."""
    depth, text = 0, ""
    for character in signature[1:-1]:
        depth += character in "<([{"
        depth -= character in ">)]}"
        if character == "," and depth == 0:
            yield text
            text = ""
        else:
            text += character
    yield text


def type_of(parameter):
    """The parameter without its name and its default."""
    return re.sub(r"\s", "", re.sub(r"(?<=[\s&*>])\w+$", "", parameter.partition("=")[0].strip()))


def key_of(tag):
    """What makes two definitions one: the scope, the name and the types of the parameters, if any."""
    signature = tag.get("signature")
    types = None if signature is None else tuple(type_of(parameter) for parameter in parameters(signature))
    return tag.get("scope", ""), tag["name"], types


def main(folder):
    headers = sorted(pathlib.Path(folder).rglob("*.h"))
    tags = definitions(headers)
    places = collections.defaultdict(dict)
    for tag in tags:
        places[key_of(tag)].setdefault(tag["path"], tag["line"])
    twice = {key: where for key, where in places.items() if len(where) > 1}
    for (scope, name, types), where in twice.items():
        whole = f"{scope}::{name}" if scope else name
        print(f"{whole}{'' if types is None else '(' + ', '.join(types) + ')'} is defined in each of")
        for path, line in where.items():
            print(f"  {path}:{line}")
    if twice:
        print("Keep one, in a header that the others include, or give the others names or namespaces of their own.")
    print(f"{len(tags)} definitions in {len(headers)} headers, {len(twice)} of them more than once")
    return 1 if twice or not tags else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
