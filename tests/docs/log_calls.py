"""Finds every log line in the source: its id, its level, and its text as a printf pattern.

A line's id is a literal such as "curl_func(615)", in one of four places:
- an argument of a log call of strutil/log.h;
- an argument of a function that passes it to a log call, perhaps with parts of the text;
- an argument of a macro that passes it to such a function;
- a member of a row of a table.
Anything else is an error here; then this file or the source must change.
"""

import pathlib
import re
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Folders that are read together: one logs texts from the other's table.
MODULES = (
    ("ftp_clientd",), ("job_slot", "curl_func", "zixi_func"), ("curl_wrapper",), ("listparse",), ("strutil",),
    ("platform",),
)  # fmt: skip

ID = re.compile(r'"[a-z_]+\(\d+\)"')
LOG_CALLS = {"log_error", "log_errno", "log_if_failed", "log_if_null", "log_info"}

_TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)|(?P<string>"(?:[^"\\\n]|\\.)*")|(?P<char>'(?:[^'\\\n]|\\.)+')
    |(?P<word>[A-Za-z_]\w*(?:::~?\w+)*)|(?P<number>\d[\w.']*)|(?P<mark>->|::|&&|\#\#|[^\s])""",
    re.VERBOSE | re.DOTALL,
)


class Line(NamedTuple):
    id: str  # curl_func(615)
    level: str  # error or info
    text: str  # errno(%d) %s
    place: str  # curl_func/worker.cpp


class Unreadable(Exception):
    pass


def tokens_of(text):
    found = [match for match in _TOKEN.finditer(text) if match.lastgroup != "comment"]
    return join_strings([match.group() for match in found])


def join_strings(tokens):
    """Joins adjacent literals as the compiler does."""
    joined = []
    for token in tokens:
        if joined and token.startswith('"') and joined[-1].startswith('"'):
            joined[-1] = joined[-1][:-1] + token[1:]
        else:
            joined.append(token)
    return joined


def closing(tokens, at):
    """The index of the bracket that closes the one at `at`."""
    depth = 0
    for index in range(at, len(tokens)):
        depth += tokens[index] in ("(", "{", "[")
        depth -= tokens[index] in (")", "}", "]")
        if depth == 0:
            return index
    raise Unreadable(f"never closed: {' '.join(tokens[at:at + 12])}")


def split(tokens):
    """The arguments: the parts between commas outside of brackets."""
    parts, depth = [[]], 0
    for token in tokens:
        depth += token in ("(", "{", "[")
        depth -= token in (")", "}", "]")
        if token == "," and depth == 0:
            parts.append([])
        else:
            parts[-1].append(token)
    return parts if parts != [[]] else []


def calls(tokens):
    """(name, its index, arguments) of everything that looks like a call."""
    for index, token in enumerate(tokens[:-1]):
        if not re.match(r"[A-Za-z_]", token):
            continue
        bracket = index + 1
        if tokens[bracket] == "<":  # set_option<option>(…)
            bracket += 3
        if bracket < len(tokens) and tokens[bracket] == "(":
            yield token, index, split(tokens[bracket + 1 : closing(tokens, bracket)])


def functions(tokens):
    """(name, parameter names, index of the first and last token of the body)"""
    for name, index, parameters in calls(tokens):
        bracket = tokens.index("(", index)
        after = closing(tokens, bracket) + 1
        if name in ("if", "for", "while", "switch") or tokens[after : after + 1] != ["{"]:
            continue
        names = [
            (part[: part.index("=")] if "=" in part else part)[-1] for part in parameters if part
        ]
        yield name, names, after, closing(tokens, after)


# --- Macros ---------------------------------------------------------------------------------------


def id_macros(text):
    """{name: (parameters, body tokens)} of the macros that turn an argument into a string."""
    macros = {}
    for match in re.finditer(r"#define (\w+)\(([^)]*)\)((?:[^\n]*\\\n)*[^\n]*)", text):
        body = match[3].replace("\\\n", " ")
        if re.search(r"#\s*\w", body):
            macros[match[1]] = ([name.strip() for name in match[2].split(",")], tokens_of(body))
    return macros


def expand(tokens, macros):
    for name, index, arguments in calls(tokens):
        if name not in macros:
            continue
        parameters, body = macros[name]
        if len(arguments) != len(parameters):
            raise Unreadable(f"{name}: {len(arguments)} arguments")
        given = dict(zip(parameters, arguments))
        result, hash_seen = [], False
        for token in body:
            if token == "#":
                hash_seen = True
            elif token in given and hash_seen:
                result.append('"' + "".join(given[token]) + '"')
                hash_seen = False
            else:
                result.extend(given.get(token, [token]))
        end = closing(tokens, index + 1)
        return expand(tokens[:index] + join_strings(result) + tokens[end + 1 :], macros)
    return tokens


# --- From a call to its text ----------------------------------------------------------------------


def pattern(name, arguments, known):
    """The text of a log call: its format with the values in `known` filled in."""
    if name == "log_errno":
        return "errno(%d) %s"
    if name == "log_if_failed":
        return fill("%s(): %d", [arguments[1], ["rc"]], known)
    return fill(literal(arguments[1]), arguments[2:], known)


def literal(argument):
    if len(argument) != 1 or not argument[0].startswith('"'):
        raise Unreadable(f"a format that is not a literal: {' '.join(argument)}")
    return argument[0][1:-1].replace('\\"', '"')


def fill(text, values, known):
    """Replaces the conversions of known values by these."""
    parts = re.split(r"(%%|%[-0-9.*]*(?:ll|l|z)?[a-zA-Z])", text)
    values = list(values)
    for index in range(1, len(parts), 2):
        if parts[index] == "%%":
            continue
        value = "".join(values.pop(0))
        if value.startswith('"'):
            parts[index] = value[1:-1]
        elif value in known and parts[index] == "%s":
            parts[index] = known[value]
    return "".join(parts)


def level(name):
    return "info" if name == "log_info" else "error"


def rows_with(tokens, members, place):
    """Table rows in braces with an id as one of the members, each as {member: literal}."""
    for index, token in enumerate(tokens):
        if token != "{":
            continue
        row = split(tokens[index + 1 : closing(tokens, index)])
        if row and row[0][0] == ".":  # .member = "m(1)"
            yield {part[1]: part[3] for part in row if len(part) == 4}
            continue
        texts = [part[0] if len(part) == 1 else "" for part in row]
        if any(ID.fullmatch(text) for text in texts):
            if len(row) > len(members):
                raise Unreadable(f"{place}: a row longer than its record")
            yield dict(zip(members, texts))


def members_of(tokens, name, place):
    """The members, in order, of the record with a member of that name."""
    for index, token in enumerate(tokens):
        if token != "struct" or tokens[index + 2 : index + 3] != ["{"]:
            continue
        body = tokens[index + 3 : closing(tokens, index + 2)]
        members = []
        while body:
            end = body.index(";")
            one = body[:end]
            one = one[: one.index("=")] if "=" in one else one
            # void (*handle)(…): the name is in the first bracket
            members.append(one[one.index("(") + 2] if "(" in one else one[-1])
            body = body[end + 1 :]
        if name in members:
            return members
    raise Unreadable(f"{place}: no record has a member {name}")


def lines_of_table(files, name, arguments, place):
    """A log call whose id is a member, such as row->failed_id: one line for each such row in this file or,
    if it has none, in the module's other files."""
    member = arguments[0][-1]
    members = members_of(files[place], member, place)
    rows = [(place, row) for row in rows_with(files[place], members, place)] or [
        (other, row) for other, tokens in files.items() for row in rows_with(tokens, members, other)
    ]
    for place, row in rows:
        if not ID.fullmatch(row.get(member, "")):
            continue
        # command.name and exchange->command.name are the row's name
        known = {
            "".join(value): row[value[-1]][1:-1]
            for value in arguments[2:]
            if row.get(value[-1], "").startswith('"')
        }
        yield Line(row[member][1:-1], level(name), pattern(name, arguments, known), place)


def lines_of_callers(files, place, call):
    """A log call whose id is a parameter of the surrounding function: one line for each call of that
    function in this file and in the module's files without their own function of that name."""
    name, index, arguments = call
    parameter = arguments[0][0]
    round_it = [f for f in functions(files[place]) if f[2] < index < f[3] and parameter in f[1]]
    if not round_it:
        raise Unreadable(f"{place}: whose id is {parameter}?")
    function, parameters, _, _ = round_it[-1]
    for caller, tokens in files.items():
        if caller != place and function in [f[0] for f in functions(tokens)]:
            continue
        for called, _, given in calls(tokens):
            values = dict(zip(parameters, given))
            passed = "".join(values.get(parameter, []))
            if called != function or not ID.fullmatch(passed):
                continue
            known = {
                parameter: value[0][1:-1]
                for parameter, value in values.items()
                if len(value) == 1 and value[0].startswith('"')
            }
            yield Line(passed[1:-1], level(name), pattern(name, arguments, known), caller)


def without_directives(text):
    return re.sub(r"(?m)^\s*#(?:[^\n]*\\\n)*[^\n]*", "", text)


def lines_of_module(sources, headers=""):
    """All log lines of the source files, {place: text}, of one module. headers: the text of headers
    whose macros and templates they use."""
    files = {}
    for place, text in sources.items():
        macros = id_macros(headers + text)
        files[place] = expand(tokens_of(without_directives(headers + text)), macros)
    lines = []
    for place, tokens in files.items():
        for call in calls(tokens):
            name, _, arguments = call
            if name not in LOG_CALLS or not arguments:
                continue
            if ID.fullmatch("".join(arguments[0])):
                lines.append(
                    Line(arguments[0][0][1:-1], level(name), pattern(name, arguments, {}), place)
                )
            elif len(arguments[0]) == 1:
                lines += lines_of_callers(files, place, call)
            else:
                lines += lines_of_table(files, name, arguments, place)
    explained = {line.id for line in lines}
    for place, tokens in files.items():
        for token in tokens:
            if ID.fullmatch(token) and token[1:-1] not in explained:
                raise Unreadable(f"{place}: {token} is in the source, but no log call for it was found")
    return lines


def texts_without_id(tokens):
    """The formats of log_text."""
    return [literal(arguments[0]) for name, _, arguments in calls(tokens) if name == "log_text"]


def sources_of(folders):
    """{place: text}, without the log helpers themselves."""
    paths = [path for folder in folders for path in sorted((ROOT / folder).glob("*.cpp"))]
    places = {str(path.relative_to(ROOT)): path.read_text() for path in paths}
    places.pop("strutil/log.cpp", None)
    return places


def log_lines():
    """Every line with an id that the daemon can log."""
    headers = {
        ("ftp_clientd",): (ROOT / "ftp_clientd/engines.h").read_text(),
        ("job_slot", "curl_func", "zixi_func"): (ROOT / "job_slot/job_slot.h").read_text(),
        ("curl_wrapper",): (ROOT / "curl_wrapper/set_option.h").read_text(),
    }
    return [
        line
        for module in MODULES
        for line in lines_of_module(sources_of(module), headers.get(module, ""))
    ]


def log_texts():
    """The formats of the lines without an id."""
    return {
        text
        for module in MODULES
        for source in sources_of(module).values()
        for text in texts_without_id(tokens_of(without_directives(source)))
    }


if __name__ == "__main__":
    for line in log_lines():
        print(f"{line.id}\t{line.level}\t{line.text}\t{line.place}")
