#!/usr/bin/env python3
"""Compares manual pages and completion with what the programs have; nothing missing, nothing stale.

completeness.py CHECK SOURCE_DIR BIN_DIR, CHECK one of the functions check_...
"""

import os
import re
import subprocess
import sys

CONSOLES = {
    "Main menu": "client/console/main_menu.cpp",
    "Dynamic test": "client/generators/dynamic_test.cpp",
    "Sensor test": "client/generators/sensor_test.cpp",
}


class Project:
    def __init__(self, source_dir, bin_dir):
        self.source_dir = os.path.abspath(source_dir)
        self.bin_dir = bin_dir
        self.problems = []

    def read(self, path):
        with open(os.path.join(self.source_dir, path), encoding="utf-8") as file:
            return file.read()

    def run(self, program, *arguments):
        """The standard output and standard error of a program of this build."""
        command = [os.path.join(self.bin_dir, program), *arguments]
        result = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
        return result.stdout, result.stderr

    def client_options(self):
        return set(self.run("list_client_options")[0].split())

    def service_options(self):
        table = self.run("SubtitleMgrSim", "--help")[0].split("\nOptions:\n", 1)[1]
        names = re.findall(r"^ +(-\S+)", table, re.MULTILINE)
        return {name for entry in names for name in entry.split(",")}

    def faults(self):
        error = self.run("SubtitleMgrSim", "--fault", "?")[1].split("there are ", 1)[1]
        return set(error.split("\n")[0].split(", "))

    def expect_same(self, what, actual, described):
        """Both are sets; the actual one must not be empty, or the check would look at nothing."""
        if not actual:
            self.problems.append("%s: nothing was found" % what)
        for name in sorted(actual - described):
            self.problems.append("%s: %s is not described" % (what, name))
        for name in sorted(described - actual):
            self.problems.append("%s: %s is described and does not exist" % (what, name))


def section(page, heading):
    """The source of one .Sh or .Ss of a page."""
    match = re.search(
        r"^\.S[hs] %s\n(.*?)(?=^\.S[hs] |\Z)" % re.escape(heading), page, re.MULTILINE | re.DOTALL
    )
    return match.group(1) if match else ""


def described_options(page):
    """The options that have an entry of their own in the description."""
    options = set()
    for line in re.findall(r"^\.It (Fl .*)$", section(page, "DESCRIPTION"), re.MULTILINE):
        for dashes, name in re.findall(r"Fl ((?:Fl )?)(\w\S*)", line):
            options.add(("--" if dashes else "-") + name)
    return options


def check_options(project):
    client = project.read("docs/man/SubtitleMgrCli.1")
    service = project.read("docs/man/SubtitleMgrSim.1")
    project.expect_same(
        "options of the client", project.client_options(), described_options(client)
    )
    project.expect_same(
        "options of the service", project.service_options(), described_options(service)
    )
    faults = project.faults()
    project.expect_same(
        "faults", faults, set(re.findall(r"^\.It Cm (\S+)$", service, re.MULTILINE))
    )
    help_text = project.run("SubtitleMgrSim", "--help")[0]
    project.expect_same(
        "faults in the help", faults, {fault for fault in faults if fault in words_of(help_text)}
    )


def words_of(text):
    return set(re.findall(r"[\w-]+", text))


def check_keys(project):
    page = project.read("docs/man/SubtitleMgrCli.1")
    for heading, source in CONSOLES.items():
        keys = re.findall(r"^ *case '(.)':", project.read(source), re.MULTILINE)
        entries = re.findall(r"^\.It (Ic .*)$", section(page, heading), re.MULTILINE)
        described = {key for entry in entries for key in re.findall(r"Ic (\S)", entry)}
        project.expect_same("keys: " + heading, set(keys), described)


def check_environment(project):
    names = {}
    for path in sources_of(project, "client", "platform/src", "simulator"):
        names[path] = set(re.findall(r'(?:getenv|variable)\("(\w+)"\)', project.read(path)))
    everything = set().union(*names.values())
    # The service makes no log entries: it says everything on standard error.
    services = everything - names["platform/src/LogMsg.cpp"]
    for page, actual in (("SubtitleMgrCli.1", everything), ("SubtitleMgrSim.1", services)):
        described = re.findall(
            r"^\.It Ev (\S+)$",
            section(project.read("docs/man/" + page), "ENVIRONMENT"),
            re.MULTILINE,
        )
        project.expect_same("environment in " + page, actual, set(described))


def rendered(project, page):
    """A page as one line of text, as a person reads it."""
    text = subprocess.run(
        [
            "mandoc",
            "-T",
            "ascii",
            "-O",
            "width=999",
            os.path.join(project.source_dir, "docs/man", page),
        ],
        capture_output=True,
        text=True,
        timeout=60,
        check=True,
    ).stdout
    return " ".join(re.sub(r".\x08", "", text).split())


def phrases(text):
    """The string literals of C++ sources that people read: those with a blank between words."""
    text = re.sub(r"^ *(#|//).*$", "", text, flags=re.MULTILINE)
    text = re.sub(r"static_assert\(.*?\);", "", text, flags=re.DOTALL)
    text = re.sub(r'"\s*\n\s*"', "", text)
    for literal in re.findall(r'"((?:[^"\\\n]|\\.)*)"', text):
        literal = literal.replace(r"\n", " ").strip(" :;,'(")
        if re.search(r"\w \w", literal):
            yield literal


def sources_of(project, *folders):
    return [
        os.path.relpath(os.path.join(parent, name), project.source_dir)
        for folder in folders
        for parent, _, names in sorted(os.walk(os.path.join(project.source_dir, folder)))
        for name in sorted(names)
        if name.endswith((".cpp", ".h"))
    ]


def check_messages(project):
    """Every message that a program prints or logs stands in a page."""
    of_scenarios = ["simulator/scenario.cpp"]
    sources = {
        "SubtitleMgrCli.1": sources_of(project, "client", "platform/src"),
        "SubtitleMgrSim.1": ["platform/src/messaging_directory.cpp", "platform/src/wire_format.cpp"]
        + [path for path in sources_of(project, "simulator") if path not in of_scenarios],
        "subtitle-scenario.5": of_scenarios,
    }
    # Menus, prompts, headings and help are no messages; usage hints show the words of a directive.
    service_help = project.run("SubtitleMgrSim", "--help")[0]
    not_messages = re.compile(
        r"[\w]\) |Choose an|Enter |RGB palette|Transparent pixel|Background code|Region Fill"
        r"|Sent sensor|CLI: Process|[a-z-]+ [A-Z]{2}|\[-\w\]|Subscribing for|Sending Refresh"
        r"|Generating test|rows by"
    )
    for page, paths in sources.items():
        text = rendered(project, page)
        count = 0
        for path in paths:
            for phrase in phrases(project.read(path)):
                if not_messages.match(phrase) or phrase in service_help:
                    continue
                count += 1
                # A page names what is inserted by %s, %u or %c.
                wanted = re.escape(phrase)
                if not re.search(wanted, text):
                    project.problems.append("%s: does not have %r of %s" % (page, phrase, path))
        if count == 0:
            project.problems.append("%s: no message was looked for" % page)


def anchors_of(text):
    """The names of a document's headings, as links use them."""
    headings = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links(project):
    """Every link between documents leads to a file and a heading that exist."""
    count = 0
    for page in [
        "README.md",
        "CONTRIBUTING.md",
        "CHANGELOG.md",
        *(
            "docs/" + name
            for name in os.listdir(os.path.join(project.source_dir, "docs"))
            if name.endswith(".md")
        ),
    ]:
        for target in re.findall(r"\]\(([^)\s]+)\)", project.read(page)):
            count += 1
            path, _, anchor = target.partition("#")
            path = os.path.normpath(os.path.join(os.path.dirname(page), path)) if path else page
            if not os.path.exists(os.path.join(project.source_dir, path)):
                project.problems.append("%s: no such file: %s" % (page, target))
            elif anchor and anchor not in anchors_of(project.read(path)):
                project.problems.append("%s: no such heading: %s" % (page, target))
    if count == 0:
        project.problems.append("no link was found")


def completions(project, program, *words):
    """What bash offers for the last of the words."""
    script = (
        'set -e; source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))\n'
        '_%s; printf "%%s\\n" "${COMPREPLY[@]}"' % program
    )
    return subprocess.run(
        [
            "bash",
            "-c",
            script,
            "bash",
            os.path.join(project.source_dir, "packaging/completion", program),
            program,
            *words,
        ],
        capture_output=True,
        text=True,
        timeout=60,
        check=True,
        cwd="/",
        env={"PATH": os.environ["PATH"], "LINX_DIR": "/proc/self"},
    ).stdout.split()


def check_completion(project):
    project.expect_same(
        "completion of the client's options",
        project.client_options(),
        set(completions(project, "SubtitleMgrCli", "")),
    )
    project.expect_same(
        "completion of the service's options",
        project.service_options(),
        set(completions(project, "SubtitleMgrSim", "")),
    )
    project.expect_same(
        "completion of the faults",
        project.faults(),
        set(completions(project, "SubtitleMgrSim", "--fault", "")),
    )
    # Any folder serves as a messaging directory here.
    project.expect_same(
        "completion of a node",
        {"fdinfo"},
        set(completions(project, "SubtitleMgrCli", "-p", "-e", "fdi")),
    )
    project.expect_same(
        "completion of a scenario's file",
        {"/proc"},
        set(completions(project, "SubtitleMgrSim", "--play", "/pro")),
    )
    project.expect_same(
        "completion of half an option",
        {"--connection"},
        set(completions(project, "SubtitleMgrCli", "--co")),
    )


def main(arguments):
    project = Project(arguments[1], arguments[2])
    globals()["check_" + arguments[0]](project)
    for problem in project.problems:
        print(problem)
    return 1 if project.problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
