"""The pictures are those of docs/pictures/draw, and the picture of the modules matches the source."""

import importlib.machinery
import importlib.util
import re

from log_calls import ROOT

PICTURES = ROOT / "docs/pictures"


def drawing():
    loader = importlib.machinery.SourceFileLoader("draw", str(PICTURES / "draw"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("draw", loader))
    loader.exec_module(module)
    return module


def includes():
    """{(module, included module)} from the source"""
    found = set()
    for module in [*drawing().MODULES, *drawing().CLIENTS, "strutil", "wire"]:
        for path in (ROOT / module).iterdir():
            if path.suffix in (".h", ".c", ".cpp"):
                found |= {
                    (module, used) for used in re.findall(r'#include "(?!strutil/(?:guards|clock)\.h)(\w+)/', path.read_text())
                }
    return {(user, used) for user, used in found if user != used}


def test_the_pictures_are_up_to_date(tmp_path):
    draw = drawing()
    draw.overview(tmp_path)
    draw.house(tmp_path)
    draw.life(tmp_path)
    draw.entry(tmp_path)
    drawn = sorted(path.name for path in tmp_path.iterdir())
    assert drawn == sorted(path.name for path in PICTURES.glob("*.svg"))
    for name in drawn:
        assert (tmp_path / name).read_text() == (
            PICTURES / name
        ).read_text(), "docs/pictures/draw draws it anew"


def test_the_arrows_are_the_includes():
    plates = {"strutil", "wire"}
    assert {edge for edge in includes() if edge[1] not in plates} == set(drawing().USES)


def test_strutil_and_wire_have_the_users_in_the_picture():
    stand_on = {
        plate: {user for user, used in includes() if used == plate} for plate in ("strutil", "wire")
    }
    upper = {name for name, (_, _, floor, _) in drawing().MODULES.items() if floor >= 2}
    assert stand_on["wire"] == upper | {"libftpclient"}
    assert stand_on["strutil"] == upper
