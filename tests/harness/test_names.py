"""The names of the tests of a build."""

import os
import re


def names_in(folder):
    """Reads CTest's own files, because a second CTest would overwrite the log of the running one.

    A GoogleTest program is one name, such as test_unit_stats.
    """
    path = os.path.join(folder, "CTestTestfile.cmake")
    if not os.path.exists(path):  # a folder configured before testing is enabled
        return set()
    with open(path, encoding="utf-8") as file:
        text = file.read()
    names = set(re.findall(r"add_test\((?:\[=*\[|\")?(.+?)(?:\]=*\]|\"| )", text))
    names.update(re.findall(r"include\(\".*/(test_\w+)\[\d+\]_include\.cmake\"\)", text))
    for subfolder in re.findall(r"^subdirs\(\"(.*)\"\)$", text, re.MULTILINE):
        names |= names_in(os.path.join(folder, subfolder))
    return names
