"""Each fault of scripts/faults has exactly one place in the source."""

import tomllib

import pytest

from log_calls import ROOT


@pytest.mark.parametrize("path", sorted((ROOT / "tests" / "faults").glob("*.toml")), ids=lambda path: path.stem)
def test_the_texts_occur_once_in_their_files(path):
    for files in tomllib.loads(path.read_text()).values():
        for file, faults in files.items():
            source = (ROOT / file).read_text()
            assert [was for was, _ in faults if source.count(was) != 1] == [], file
