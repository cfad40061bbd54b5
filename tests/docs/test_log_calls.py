"""log_calls.py finds every form of log line, and reports what it cannot read."""

import pytest

from log_calls import Line, Unreadable, lines_of_module, texts_without_id, tokens_of


def lines_in(text, other=""):
    return [line[:3] for line in lines_of_module({"a.cpp": text, "b.cpp": other})]


LITERALS = [
    ('log_errno("m(1)");', ("m(1)", "error", "errno(%d) %s")),
    ('log_info("m(2)", "%s is \\"%d\\"", s, n);', ("m(2)", "info", '%s is "%d"')),
    ('log_if_failed("m(3)", "pthread_x", rc);', ("m(3)", "error", "pthread_x(): %d")),
    ('log_if_null("m(5)", "No data.", data);', ("m(5)", "error", "No data.")),
    # Adjacent literals are joined.
    ('log_error("m(4)", "one "\n "two");', ("m(4)", "error", "one two")),
]


def test_a_literal_id_is_found():
    for call, line in LITERALS:
        assert lines_in(f"void f() {{ {call} }}") == [line]


def test_an_id_that_a_function_passes_on_is_found_at_each_call():
    text = """
        static void fail(record *rec, const char *id, const char *call)
        { if (rec) { log_error(id, "%s(): %d", call, 1); } }
        void f() { fail(r, "m(1)", "malloc"); fail(r, "m(2)", name); }"""
    assert lines_in(text) == [("m(1)", "error", "malloc(): %d"), ("m(2)", "error", "%s(): %d")]


def test_the_call_may_be_in_another_file():
    logs = 'void url(const char *id, const char *title) { log_info(id, "%s: %s", title, url); }'
    calls = 'void f() { url("m(1)", "Actual URL"); }'
    assert lines_in(logs, calls) == [("m(1)", "info", "Actual URL: %s")]
    assert lines_in(calls, logs) == [("m(1)", "info", "Actual URL: %s")]


def test_a_function_of_the_same_file_takes_precedence():
    logs = "static void fail(const char *id) { log_errno(id); }"
    own = 'static void fail(const char *id) { log_error(id, "own"); }\nvoid f() { fail("m(1)"); }'
    assert lines_in(logs, own) == [("m(1)", "error", "own")]


def test_a_macro_passes_its_arguments_on():
    text = """
#define SET(rec, id, option) set(rec, id, #option)
template <int option> static bool set(record *rec, const char *id, const char *name)
{ log_error(id, "setopt(%s): Failed(%d)", name, rec->code); return false; }
void f() { SET(&copy, "m(17)", CURLOPT_URL) && SET(rec, "m(18)", CURLOPT_PORT); }"""
    assert lines_in(text) == [
        ("m(17)", "error", "setopt(CURLOPT_URL): Failed(%d)"),
        ("m(18)", "error", "setopt(CURLOPT_PORT): Failed(%d)"),
    ]


def test_a_member_of_a_row_is_an_id():
    text = """
        struct row_t { int number; void (*handle)(row_t *row);
                       const char *id; const char *name = nullptr; };
        constexpr row_t ROWS[] = {{1, f, "m(1)", "one"}, {2, &f::g, "m(2)"}};
        void f(row_t *row) { log_error(row->id, "%s: %d", row->name, 1); }"""
    assert lines_in(text) == [("m(1)", "error", "one: %d"), ("m(2)", "error", "%s: %d")]


def test_the_row_may_be_in_another_file_and_name_its_members():
    logs = """
        struct row_t { int number; const char *id; const char *other_id; };
        void f(row_t *row) { log_errno(row->id); log_if_failed(row->other_id, "pthread_x", rc); }"""
    rows = 'constexpr row_t ROW = {.number = 1, .id = "m(1)", .other_id = "m(2)"};'
    assert lines_in(logs, rows) == [
        ("m(1)", "error", "errno(%d) %s"),
        ("m(2)", "error", "pthread_x(): %d"),
    ]


def test_comments_are_ignored():
    assert lines_in('// log_errno("m(1)")\n/* log_errno("m(2)") */') == []


@pytest.mark.parametrize(
    "text",
    [
        'const char *id = "m(1)"; void f() { other(id); }',  # never logged
        "void f() { const char *id = pick(); log_errno(id); }",  # whose id?
        'void f() { log_error("m(1)", text); }',  # not a literal
        "void f() { log_errno(rows[1].id); }",  # in no record
    ],
)
def test_an_unreadable_line_is_an_error(text):
    with pytest.raises(Unreadable):
        lines_in(text)


def test_a_line_has_its_file():
    assert lines_of_module({"a.cpp": 'void f() { log_errno("m(1)"); }'}) == [
        Line("m(1)", "error", "errno(%d) %s", "a.cpp")
    ]


def test_texts_without_an_id_are_found():
    assert texts_without_id(tokens_of('void f() { log_text("%c %s", mark, text); }')) == ["%c %s"]
