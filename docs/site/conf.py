"""The manual as a site, for Sphinx: scripts/site stages the pages and runs it."""

import pathlib
import re

HERE = pathlib.Path(__file__).resolve().parent

project = "ftp_clientd"
author = "the ftp_clientd project"
copyright = "the ftp_clientd project, MIT licence"
version = release = re.search(r"project\(ftp_clientd VERSION (\S+)", (HERE / "CMakeLists.txt").read_text())[1]

extensions = ["myst_parser", "breathe"]
root_doc = "index"
exclude_patterns = ["README.md"]  # index.md is it, with the tree of pages
html_theme = "sphinx_rtd_theme"
html_static_path = ["static"]
html_css_files = ["tables.css"]
html_show_sourcelink = False
myst_heading_anchors = 4  # as the usual renderers make them of headings
suppress_warnings = ["myst.header"]  # a page may begin below the first level
breathe_projects = {"libftpclient": str(HERE / "doxygen" / "xml")}
breathe_default_project = "libftpclient"
breathe_domain_by_extension = {"h": "c"}
primary_domain = "c"
highlight_language = "none"
