"""The installed client library, used by programs in C, C++ and Python."""

import ctypes
import pathlib
import re
import shutil
import subprocess

from harness import wire
from harness.daemon import WORLD, program
from harness.installed import EXAMPLES, ROOT, STRICT, run
from harness.scripted import Plan, Silence


def promised(installed):
    """The functions that the header declares."""
    header = (installed.prefix / "include" / "ftpclient.h").read_text()
    names = re.findall(r"^FTPCLIENT_API [^(]*?(ftpclient_\w+)\(", header, re.MULTILINE)
    assert len(names) > 20
    return set(names)


# The structures again, as in a program without C headers.
class Progress(ctypes.Structure):
    _fields_ = [(n, ctypes.c_int64) for n in ("total_bytes", "transferred_bytes", "elapsed_ms")] + [
        (n, ctypes.c_int32)
        for n in ("curl_code", "zixi_error", "response_type", "response_code", "retries", "unused")
    ]


class State(ctypes.Structure):
    _fields_ = [(n, ctypes.c_int32) for n in ("running", "job", "result", "cancelled")] + [
        ("progress", Progress)
    ]


class Notice(ctypes.Structure):
    _fields_ = [("code", ctypes.c_int32), ("result", ctypes.c_int32), ("progress", Progress)]


def library(installed):
    loaded = ctypes.CDLL(str(installed.libraries / "libftpclient.so.0"), use_errno=True)
    loaded.ftpclient_strerror.restype = ctypes.c_char_p
    loaded.ftpclient_result_name.restype = ctypes.c_char_p
    return loaded


def fill(lib, request, **settings):
    """Calls the named setters with their values."""
    for name, values in settings.items():
        assert getattr(lib, f"ftpclient_request_set_{name}")(request, *values) == 0, name


def test_python_runs_jobs_and_receives_the_notices(unstarted, vsftpd, scripted, local, installed):
    lib = library(installed)
    notices, handle, request = ctypes.c_void_p(), ctypes.c_void_p(), ctypes.c_void_p()
    notice, state = Notice(), State()

    def next_notice():
        assert lib.ftpclient_notices_receive(
            notices, ctypes.byref(notice), ctypes.c_size_t(ctypes.sizeof(notice)), 30000
        ) == 0
        return notice.code, notice.result

    def poll():
        assert lib.ftpclient_poll(
            handle, ctypes.byref(state), ctypes.c_size_t(ctypes.sizeof(state)), 10000
        ) == 0
        return state

    assert lib.ftpclient_connect(None, 10000, ctypes.byref(handle)) == -7
    assert handle.value is None
    assert lib.ftpclient_notices_open(None, ctypes.byref(notices)) == 0
    unstarted.start()
    assert next_notice() == (3, 0)
    assert lib.ftpclient_connect(None, 10000, ctypes.byref(handle)) == 0
    assert (poll().running, state.job) == (0, 0)

    vsftpd.put("a.bin", b"y" * 100)
    assert lib.ftpclient_request_new(wire.FTP, ctypes.byref(request)) == 0
    fill(lib, request, server=[b"127.0.0.1", 21], login=[b"alice", b"secret"])
    fill(lib, request, remote_path=[b"a.bin"], local_path=[bytes(local / "a")])
    assert lib.ftpclient_start(handle, 1, request, 10000) == 0
    assert next_notice() == (0, 0)
    assert (notice.progress.total_bytes, notice.progress.transferred_bytes) == (100, 100)
    assert (notice.progress.response_type, notice.progress.response_code) == (1, 226)
    assert (local / "a").read_bytes() == b"y" * 100

    server = scripted(Plan(replies={"PASS": Silence}), port=2121)
    assert lib.ftpclient_request_set_server(request, b"127.0.0.1", 2121) == 0
    assert lib.ftpclient_start(handle, 1, request, 10000) == 0
    server.wait_for_command("PASS")
    assert lib.ftpclient_request_set_turn_timeout(request, 0) == 0
    assert lib.ftpclient_start(handle, 1, request, 10000) == -16  # a start holds no turn
    assert (poll().running, state.job) == (1, 1)
    assert lib.ftpclient_cancel(handle, 30000) == 0
    assert (poll().running, state.result, state.cancelled) == (0, wire.CANCELED, 1)
    assert lib.ftpclient_cancel(handle, 30000) == wire.NOT_RUNNING
    assert lib.ftpclient_result_name(state.result) == b"FTPCD_ERR_CANCELED"

    assert lib.ftpclient_request_set_server(request, b"127.0.0.1", 1) == 0
    assert lib.ftpclient_start(handle, 1, request, 10000) == 0
    assert next_notice() == (0, wire.NETWORK)
    lib.ftpclient_request_free(request)
    lib.ftpclient_close(handle)
    lib.ftpclient_notices_close(notices)
    assert not pathlib.Path("/var/run/marlox_nm.sock").exists()


def test_the_daemon_reads_a_request_with_the_longest_strings(daemon, network_manager, log, local, installed):
    """The daemon accepts the longest strings that the library allows."""
    lib = library(installed)
    handle, request = ctypes.c_void_p(), ctypes.c_void_p()
    assert lib.ftpclient_connect(None, 10000, ctypes.byref(handle)) == 0
    assert lib.ftpclient_request_new(wire.SFTP, ctypes.byref(request)) == 0
    fill(lib, request, server=[b"127.0.0.1", 1], login=[b"u" * 31, b"p" * 223], remote_path=[b"r" * 511])
    fill(lib, request, local_path=[b"/" + b"l" * 254], save_path=[b"/" + b"s" * 257])
    assert lib.ftpclient_start(handle, 2, request, 10000) == 0
    assert network_manager.wait_for(wire.NOTICE_UPLOAD).outcome == (1, wire.LOCAL_READ)
    assert lib.ftpclient_ping(handle, None, 10000) == 0
    lib.ftpclient_request_free(request)
    lib.ftpclient_close(handle)


MANUAL = ROOT / "docs" / "man" / "libftpclient.3"


def test_the_manual_is_clean_and_shows_every_function_and_an_example_that_works(
    daemon, vsftpd, local, installed
):
    assert run("mandoc", "-Tlint", "-W", "warning", MANUAL) == ""
    assert run("groff", "-mandoc", "-ww", "-z", MANUAL) == ""
    page = MANUAL.read_text()
    assert set(re.findall(r"^\.F[no] (\w+)", page.split(".Sh DESCRIPTION")[0], re.MULTILINE)) == (
        promised(installed)
    )
    source = WORLD / "tmp" / "get.c"
    example = page.split(".Bd -literal -offset indent\n")[1].split(".Ed\n")[0]
    assert example.count('"/tmp/a.txt"') == 1
    source.write_text(example.replace("/tmp/a.txt", str(local / "a.txt")))
    get = WORLD / "tmp" / "get"
    run("cc", "-std=c11", *STRICT, source, *installed.pkg_config("--cflags", "--libs"), "-o", get)
    vsftpd.put("a.txt", b"hello")
    assert installed.run(get) == "success\n"
    assert (local / "a.txt").read_bytes() == b"hello"


COMPILERS = [
    ("cc", "c", "-std=c11"),
    ("gcc", "c", "-std=c17"),
    ("clang", "c", "-std=c11"),
    ("g++", "c++", "-std=c++11"),
    ("g++", "c++", "-std=c++20"),
    ("clang++", "c++", "-std=c++20"),
]


def test_the_two_files_alone_compile_as_c_and_as_cxx_everywhere(tmp_path):
    run(ROOT / "scripts" / "single-file", tmp_path)
    shutil.copy(EXAMPLES / "fetch.c", tmp_path)
    tried = 0
    for compiler, language, standard in COMPILERS:
        if not shutil.which(compiler):
            continue
        options = ["-x", language, standard, *STRICT, "-Wconversion", "-Wshadow", "-O2"]
        run(compiler, *options, "-c", tmp_path / "ftpclient.c", "-o", tmp_path / "ftpclient.o")
        run("cc", f"-I{tmp_path}", tmp_path / "fetch.c", tmp_path / "ftpclient.o", "-o", tmp_path / "f")
        tried += 1
    assert tried >= 4
    usage = subprocess.run([tmp_path / "f"], stderr=subprocess.PIPE, check=False)
    assert (usage.returncode, usage.stderr[:12]) == (2, b"usage: fetch")


def test_the_shared_library_exports_only_its_functions_and_needs_only_libc(installed):
    path = installed.libraries / "libftpclient.so"
    shown = run("nm", "-D", "--defined-only", path)
    functions = set(re.findall(r" T (\w+)@@FTPCLIENT_0\.2$", shown, re.MULTILINE))
    assert functions == promised(installed)
    assert set(re.findall(r" [A-Z] (\w+)", shown)) - functions == {"FTPCLIENT_0"}
    dynamic = run("readelf", "-d", path)
    assert re.findall(r"NEEDED.*\[(.*)\]", dynamic) == ["libc.so.6"]
    assert re.findall(r"SONAME.*\[(.*)\]", dynamic) == ["libftpclient.so.0"]
    assert "RUNPATH" not in dynamic and "RPATH" not in dynamic
    archive = run("nm", "-g", "--defined-only", installed.libraries / "libftpclient.a")
    assert set(re.findall(r" [A-Z] (\w+)", archive)) == functions
    assert installed.pkg_config("--modversion") == [re.findall(r"so\.(\d+\.\d+\.\d+)$", str(path.resolve()))[0]]


def test_the_whole_project_installs_the_library_by_components(installed):
    folder = pathlib.Path(program()[-1]).resolve().parent.parent
    by_component = {}
    wire = {header.name for header in (ROOT / "wire").glob("*.h")}
    for component in ("library", "development"):
        prefix = WORLD / "tmp" / f"component-{component}"
        run("cmake", "--install", folder, "--component", component, "--prefix", prefix)
        by_component[component] = {path.name for path in prefix.rglob("*") if not path.is_dir()}
    version = installed.pkg_config("--modversion")[0]
    assert by_component["library"] == {"libftpclient.so.0", f"libftpclient.so.{version}"}

    def without_build_type(names):
        return {re.sub(r"^ftpclientConfig-\w+", "ftpclientConfig-*", name) for name in names}

    assert without_build_type(by_component["development"]) == without_build_type(
        (installed.files() - by_component["library"]) | wire | {"protocol.md", "fetch.c", "send.cpp"}
    )
    (WORLD / "tmp" / "user.c").write_text('#include "wire/wire.h"\nint size = sizeof(transfer_request_t);\n')
    run("cc", "-std=c11", f"-I{prefix}/include/ftp_clientd", "-c", WORLD / "tmp/user.c", "-o", WORLD / "tmp/user.o")
    assert {"ftpclient.h", "ftpclient.pc", "libftpclient.a", "libftpclient.so", "libftpclient.3.gz"} <= (
        by_component["development"]
    )
