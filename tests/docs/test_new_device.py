"""docs/new-device.md names the functions that the device libraries must export, and the daemon's paths."""

import re

import pages
from log_calls import MODULES, ROOT, sources_of

PAGE = "docs/new-device.md"
LIBRARIES = {"libsecure.so": "secure", "libzixiFeeder.so": "zixiFeeder"}


def plain(text):
    return " ".join(text.split())


def exported():
    """{(library, function)} of the libraries' linker maps"""
    return {
        (library, function)
        for library, name in LIBRARIES.items()
        for function in re.findall(r"(?m)^ +(\w+);$", (ROOT / f"platform/{name}.map").read_text())
    }


def declared():
    """{function: parameters} of the headers"""
    text = "".join((ROOT / f"platform/{name}.h").read_text() for name in LIBRARIES.values())
    return {
        name: plain(parameters)
        for name, parameters in re.findall(r"(?m)^int (\w+)\(([^;]*)\);", text)
    }


def told():
    rows = pages.rows(PAGE, re.compile(r"`lib\w+\.so`"), 3, second=re.compile(r"`\w+`"))
    return [[cell.strip("`") for cell in row] for row in rows]


def test_the_page_names_every_function_of_the_libraries():
    assert len(exported()) == 11
    assert sorted((row[0], row[1]) for row in told()) == sorted(exported())


def test_the_parameters_are_those_of_the_headers():
    assert {row[1]: row[2] for row in told()} == declared()


def test_the_page_names_every_path_that_the_daemon_uses():
    text = "".join(
        source
        for module in MODULES
        if module != "platform"
        for source in sources_of(module).values()
    )
    text += "".join(path.read_text() for path in (ROOT / "wire").glob("*.h"))
    used = set(re.findall(r'"(/(?:dev|etc|proc|run|sys|tmp|usr|var)/[\w./]+)"', text))
    rows = pages.rows(PAGE, re.compile(r"`/.*`"), 3)
    assert {row[0].strip("`") for row in rows} == used
