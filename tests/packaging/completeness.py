#!/usr/bin/env python3
"""Compares manual pages and completion with the programs: nothing is missing, nothing is stale.

completeness.py CHECK SOURCE_DIR BIN_DIR; CHECK is the name of a function check_...
"""

import os
import pathlib
import re
import subprocess
import sys

CHECK = sys.argv[1]
SOURCE_DIR, BIN_DIR = (pathlib.Path(path).resolve() for path in sys.argv[2:])
CONSOLES = {
    "Main menu": "client/console/main_menu.cpp",
    "Dynamic test": "client/generators/dynamic_test.cpp",
    "Sensor test": "client/generators/sensor_test.cpp",
}
TOOLS = ("SubtitleMgrSim", "SubtitleMgrTap", "SubtitleMgrCtl", "SubtitleMgrView")
PROGRAMS = ("SubtitleMgrCli", *TOOLS)
problems = []


def read(path):
    return (SOURCE_DIR / path).read_text(encoding="utf-8")


def find_all(pattern, text):
    return set(re.findall(pattern, text, re.MULTILINE))


def run(*command, **options):
    return subprocess.run(
        command, capture_output=True, text=True, timeout=60, check=False, **options
    )


def help_of(program):
    return run(BIN_DIR / program, "--help").stdout


def options_of(program):
    if program == "SubtitleMgrCli":
        return set(run(BIN_DIR / "list_client_options").stdout.split())
    return find_all(r"(?<![\w-])--?[a-z][\w-]*", help_of(program).split("\nOptions:\n", 1)[-1])


def tap_words(option):
    refusal = run(BIN_DIR / "SubtitleMgrTap", option, "?").stderr
    return set(re.search("is none of (.*)\n", refusal).group(1).split(", "))


def faults():
    refusal = run(BIN_DIR / "SubtitleMgrSim", "--fault", "?").stderr
    return set(refusal.split("there are ", 1)[1].split("\n")[0].split(", "))


def expect_same(what, actual, described):
    """Compares two sets. The actual one must not be empty, or the check would prove nothing."""
    if not actual:
        problems.append("%s: nothing was found" % what)
    for name in sorted(actual - described):
        problems.append("%s: %s is not described" % (what, name))
    for name in sorted(described - actual):
        problems.append("%s: %s is described and does not exist" % (what, name))


def section(page, heading):
    """Returns the source of one .Sh or .Ss of a manual page."""
    pattern = r"^\.S[hs] %s\n(.*?)(?=^\.S[hs] |\Z)" % re.escape(heading)
    match = re.search(pattern, read("docs/man/" + page), re.MULTILINE | re.DOTALL)
    return match[1] if match else ""


def described_options(page):
    """Returns the options with their own entry in the description."""
    entries = find_all(r"^\.It (Fl .*)$", section(page, "DESCRIPTION"))
    options = {option for entry in entries for option in re.findall(r"Fl ((?:Fl )?)(\w\S*)", entry)}
    return {("--" if dashes else "-") + name for dashes, name in options}


def check_options():
    for program in PROGRAMS:
        expect_same(program, options_of(program), described_options(program + ".1"))
    page = read("docs/man/SubtitleMgrSim.1")
    expect_same("faults", faults(), find_all(r"^\.It Cm (\S+)$", page))
    in_help = find_all(r"[\w-]+", help_of("SubtitleMgrSim"))
    expect_same("faults in the help", faults(), faults() & in_help)


def directives(*places):
    """Returns the words of the table that are allowed in one of these places."""
    rows = find_all(r'^ *\{"([\w-]+)", Place::(\w+),', read("tools/words/directives.h"))
    return {word for word, place in rows if place in places}


def check_directives():
    described = find_all(r"^\.It Cm (\S+)", section("subtitle-scenario.5", "DESCRIPTION"))
    expect_same("directives of scenarios", directives("Scenario", "Both"), described)
    described = find_all(r"^\.It Ic (\S+)", read("docs/man/SubtitleMgrCtl.1"))
    expect_same("commands", commands(), described)
    described = find_all(r"^\.It Cm (\S+)", section("SubtitleMgrView.1", "DESCRIPTION"))
    expect_same("commands of the view", view_commands(), described)
    rows = re.findall(
        r"Place::(?:Control|Both), .*,\s+\"(.*?)\",", read("tools/words/directives.h")
    )
    expect_same("forms", set(rows), {row for row in rows if row in rendered("SubtitleMgrCtl.1")})


def commands():
    return directives("Control", "Both") | {"ping", "top", "doctor", "cheat", "-"}


def view_commands():
    return find_all(r"^  ([a-z][a-z-]+) ", help_of("SubtitleMgrView"))


def check_keys():
    for heading, source in CONSOLES.items():
        entries = find_all(r"^\.It (Ic .*)$", section("SubtitleMgrCli.1", heading))
        described = {key for entry in entries for key in re.findall(r"Ic (\S)", entry)}
        expect_same("keys: " + heading, find_all(r"^ *case '(.)':", read(source)), described)


def check_environment():
    names = {
        path: find_all(r'(?:getenv|[vV]ariable)\("(\w+)"\)', read(path))
        for path in sources_of("client", "platform/src", "simulator", "tools/control", "tools/view")
    }
    of_control = names.pop("tools/control/top.cpp")
    of_view = names.pop("tools/view/draw_regions.cpp")
    everything = set().union(*names.values())
    # The service makes no log entries; it writes to standard error.
    services = everything - names["platform/src/LogMsg.cpp"]
    for page, actual in (
        ("SubtitleMgrCli.1", everything),
        ("SubtitleMgrSim.1", services),
        ("SubtitleMgrCtl.1", everything | of_control),
        ("SubtitleMgrView.1", of_view),
    ):
        described = find_all(r"^\.It Ev (\S+)$", section(page, "ENVIRONMENT"))
        expect_same("environment in " + page, actual, described)


def rendered(page):
    """Returns the formatted page as one line of text."""
    path = SOURCE_DIR / "docs/man" / page
    text = run("mandoc", "-T", "ascii", "-O", "width=999", path).stdout
    return " ".join(re.sub(r".\x08", "", text).split())


def phrases(text):
    """Returns the string literals of C++ sources that contain a blank between words."""
    text = re.sub(r"^ *(#|//).*$", "", text, flags=re.MULTILINE)
    text = re.sub(r"static_assert\(.*?\);", "", text, flags=re.DOTALL)
    text = re.sub(r'"\s*\n\s*"', "", text)
    for literal in re.findall(r'"((?:[^"\\\n]|\\.)*)"', text):
        literal = literal.replace(r"\n", " ").strip(" :;,'(")
        if re.search(r"\w \w", literal):
            yield " ".join(literal.split())


def sources_of(*folders):
    return sorted(
        str(path.relative_to(SOURCE_DIR))
        for folder in folders
        for path in (SOURCE_DIR / folder).rglob("*")
        if path.suffix in (".cpp", ".h")
    )


def check_messages():
    """A page has every message that a program prints or logs."""
    of_scenarios = [
        "simulator/play/line_parser.cpp",
        "simulator/play/scenario.cpp",
        "tools/words/directives.cpp",
        "tools/words/truth.cpp",
    ]
    of_control = [
        *(path for path in sources_of("simulator") if path.startswith("simulator/control/")),
        "simulator/journal/request_pattern.cpp",
    ]
    sources = {
        "SubtitleMgrCli.1": sources_of("client", "platform/src"),
        "SubtitleMgrSim.1": ["platform/src/messaging_directory.cpp", "platform/src/wire_format.cpp"]
        + [path for path in sources_of("simulator") if path not in of_scenarios + of_control],
        "subtitle-scenario.5": of_scenarios,
        "SubtitleMgrTap.1": sources_of("tools/tap"),
        "SubtitleMgrCtl.1": sources_of("tools/control") + of_control,
        "SubtitleMgrView.1": sources_of("tools/view"),
        "subtitle-recording.5": sources_of("tools/recording"),
    }
    # Menus, prompts, headings, help and the forms of directives are no messages.
    not_messages = re.compile(
        r"[\w]\) |Choose an|Enter |RGB palette|Transparent pixel|Background code|Region Fill"
        r"|Sent sensor|CLI: Process|[a-z-]+ [A-Z]{2}|\[-\w\]|Subscribing for|Sending Refresh"
        r"|Generating test|rows by"
    )
    shown = [help_of(program) for program in TOOLS]
    shown.append(run(BIN_DIR / "SubtitleMgrCtl", "cheat").stdout)
    help_text = " ".join(" ".join(shown).split())
    for page, paths in sources.items():
        text = rendered(page)
        messages = [
            (phrase, path)
            for path in paths
            for phrase in phrases(read(path))
            if not not_messages.match(phrase) and " ".join(phrase.split()) not in help_text
        ]
        if not messages:
            problems.append("%s: no message was looked for" % page)
        for phrase, path in messages:
            if phrase not in text:  # a page has another text in the place of %s, %u or %c
                problems.append("%s: does not have %r of %s" % (page, phrase, path))


def anchors_of(text):
    """Returns the names of a document's headings as in links."""
    headings = find_all(r"^#+ (.*)$", text)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links():
    """Each link between documents has an existing file and heading."""
    pages = [*SOURCE_DIR.glob("*.md"), *SOURCE_DIR.glob("docs/*.md")]
    links = [
        (page, target) for page in pages for target in find_all(r"\]\(([^)\s]+)\)", read(page))
    ]
    if not links:
        problems.append("no link was found")
    for page, target in links:
        path, _, anchor = target.partition("#")
        path = page.parent / path if path else page
        if not path.exists():
            problems.append("%s: no such file: %s" % (page, target))
        elif anchor and anchor not in anchors_of(read(path)):
            problems.append("%s: no such heading: %s" % (page, target))


def check_conventions():
    """The programs around a service have the same habits, and their pages describe them."""
    if "always 0" not in section("SubtitleMgrCli.1", "EXIT STATUS"):
        problems.append("SubtitleMgrCli: its page does not say that its status is always 0")
    for path in (SOURCE_DIR / "packaging/copyright", *SOURCE_DIR.glob("docs/man/*")):
        if "All rights reserved." not in path.read_text(encoding="utf-8"):
            problems.append("%s does not reserve all rights" % path)
    version = re.search(r"SubtitleMgrCli VERSION ([\d.]+)", read("CMakeLists.txt"))[1]
    for program in (*TOOLS, "list_client_options"):  # one of the programs for builds and tests
        if run(BIN_DIR / program, "--version").stdout != "%s %s\n" % (program, version):
            problems.append("%s: its version is wrong" % program)
    for program in TOOLS:
        page = program + ".1"
        helped = run(BIN_DIR / program, "--help")
        if helped.returncode != 0 or helped.stderr or max(map(len, helped.stdout.split("\n"))) > 80:
            problems.append("%s: its help fails, or is wider than 80 columns" % program)
        with open("/dev/full", "w", encoding="utf-8") as full:
            for option in ("--help", "--version"):
                ended = subprocess.run([BIN_DIR / program, option], stdout=full, check=False)
                if ended.returncode != 1:
                    problems.append("%s %s: a full disk is no failure" % (program, option))
        refused = run(BIN_DIR / program, "--nonsense")
        if refused.returncode != 2 or refused.stdout or "--help" not in refused.stderr:
            problems.append("%s: a wrong option is not refused" % program)
        described = find_all(r"^\.It (\d)$", section(page, "EXIT STATUS"))
        status = re.search(r"^Status: ((?:.+\n)+)", helped.stdout, re.MULTILINE)
        in_help = find_all(r"(\d) [a-z]", status[1].replace("\n", " ")) if status else set()
        expect_same("exit statuses of " + program, in_help, described)
        if not re.search(r"^\$ (.* )?%s " % program, section(page, "EXAMPLES"), re.MULTILINE):
            problems.append("%s: its page has no example" % program)


def misspelt(word):
    """Returns a word with its second letter doubled."""
    at = len(word) - len(word.lstrip("-")) + 1
    return word[:at] + word[at : at + 1] + word[at:]


def check_suggestions():
    """Each word that a program knows is suggested when it is misspelt."""
    requests = read("tools/recording/fields.h").split("requestKinds[]", 1)[1]
    of_faults = {"request", "client", "times", "chance", "seed", "delay"}
    tap_options = ("--kinds", "--formats", "--time")
    for known, *words in (
        *((options_of(program), program, "{}") for program in TOOLS),
        *((tap_words(option), "SubtitleMgrTap", option, "{}") for option in tap_options),
        (view_commands(), "SubtitleMgrView", "{}"),
        (commands(), "SubtitleMgrCtl", "{}"),
        (faults(), "SubtitleMgrSim", "--fault", "{}"),
        (of_faults, "SubtitleMgrSim", "--fault", "late {}=1"),
        (find_all(r'^    \{"(\w+)", ', requests), "SubtitleMgrSim", "--fault", "late request={}"),
        ({"--json"}, "SubtitleMgrTap", "json"),
        ({"--name"}, "SubtitleMgrCtl", "-nmae", "x", "state"),
    ):
        known = {word for word in known if len(word.lstrip("-")) > 1}
        if not known:
            problems.append("%s: no word is known" % words)
        for word in known:
            program, *others = (text.format(misspelt(word)) for text in words)
            answer = run(BIN_DIR / program, *others)
            if answer.returncode == 0 or "; did you mean %s?\n" % word not in answer.stderr:
                problems.append("%s %s: %s" % (program, others, answer.stderr))


def completions(program, *words):
    """Returns bash's completions of the last word. Any folder can be the messaging directory."""
    script = (
        'set -e; source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))\n'
        '_%s; printf "%%s\\n" "${COMPREPLY[@]}"' % program
    )
    path = SOURCE_DIR / "packaging/completion" / program
    environment = {"PATH": os.environ["PATH"], "LINX_DIR": "/proc/self"}
    command = ["bash", "-c", script, "bash", path, program, *words]
    return set(run(*command, cwd="/", env=environment).stdout.split())


def completions_in_fish(program, word):
    script = 'source $argv[1]; complete -C "$argv[2] $argv[3]"'
    path = SOURCE_DIR / "packaging/completion/all.fish"
    environment = {"PATH": "%s:%s" % (BIN_DIR, os.environ["PATH"]), "HOME": "/nonexistent"}
    found = run("fish", "--no-config", "-c", script, path, program, word, cwd="/", env=environment)
    return set(found.stdout.split())


def completions_in_zsh(program, word):
    script = (
        'path=($1 $path); file=$2; words=($3 "$4"); CURRENT=2; PREFIX=$4\n'
        'compadd() { shift; print -l -- "$@"; }\n'
        "complete() { source $file; }; complete"
    )
    path = SOURCE_DIR / "packaging/completion/all.zsh"
    return set(run("zsh", "-f", "-c", script, "zsh", BIN_DIR, path, program, word).stdout.split())


def check_completion():
    for completions_in in (completions, completions_in_fish, completions_in_zsh):
        shell = completions_in.__name__ + " of "
        for program in PROGRAMS:
            found = completions_in(program, "-") - {"-"}
            expect_same(shell + program, options_of(program), found)
        of_programs = {"SubtitleMgrCtl": commands(), "SubtitleMgrView": view_commands()}
        for program, known in of_programs.items():
            found = known & completions_in(program, "")  # files are offered too
            expect_same(shell + "commands", known, found)
    for what, actual, program, *words in (
        ("a command's faults", faults(), "SubtitleMgrCtl", "fault", ""),
        ("a word of play", {"paused"}, "SubtitleMgrCtl", "play", "drive.jsonl", "pa"),
        ("a recording", {"/proc"}, "SubtitleMgrCtl", "record", "/pro"),
        ("a recording", {"/proc"}, "SubtitleMgrView", "png", "-o", "x", "/pro"),
        ("kinds", tap_words("--kinds"), "SubtitleMgrTap", "--kinds", ""),
        ("formats", tap_words("--formats"), "SubtitleMgrTap", "--formats", ""),
        ("times", tap_words("--time"), "SubtitleMgrTap", "--time", ""),
        ("the faults", faults(), "SubtitleMgrSim", "--fault", ""),
        ("a node", {"fdinfo"}, "SubtitleMgrCli", "-p", "-e", "fdi"),
        ("a scenario's file", {"/proc"}, "SubtitleMgrSim", "--play", "/pro"),
        ("half an option", {"--connection"}, "SubtitleMgrCli", "--co"),
    ):
        expect_same("completion of " + what, actual, completions(program, *words))


globals()["check_" + CHECK]()
print("\n".join(problems))
sys.exit(1 if problems else 0)
