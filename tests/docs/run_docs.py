#!/usr/bin/env python3
"""Runs what a page of the documentation shows, and compares what it says comes out.

A page's ```console blocks are one shell session: a line that starts with "$ " is a command (and
lines that start with "> " go on with it), the lines behind it are its output. In the output "…"
stands for anything on its line, and a line that is only "…" for any number of lines. The session
runs in an empty folder against a kavo-host of its own; "localhost:8480" in the page becomes its
address. The page's ```ini block is the system-wide settings file, and the folder for cards that it
names becomes one of the session's own.
"""

import argparse
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile

MARK = "@@end of command@@"
CARDS = "/var/lib/kavo/cards"


def read_page(path):
    """The page's commands with their expected output, and the lines of its settings file."""
    commands, ini = [], []
    inside = ""
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if line.startswith("```"):
            inside = line[3:].strip()
        elif inside == "ini":
            ini.append(line)
        elif inside != "console":
            continue
        elif line.startswith("$ "):
            commands.append([number, line[2:], []])
        elif line.startswith("> "):
            commands[-1][1] += "\n" + line[2:]
        else:
            commands[-1][2].append(line)
    return commands, ini


def to_pattern(expected):
    parts = []
    for line in expected:
        if line.strip() == "…":
            parts.append(r"(?:.*\n)*?")
        else:
            parts.append(".*".join(re.escape(piece) for piece in line.split("…")) + r"\n")
    return re.compile("".join(parts))


class Session:
    def __init__(self, program, plugin, folder, settings, ini):
        self.settings = settings / "Brenlo" / "kavo-service.ini"
        self.settings.parent.mkdir(parents=True, exist_ok=True)
        self.cards = folder / "cards"
        self.cards.mkdir()
        self.settings.write_text(
            "".join(line.replace(CARDS, str(self.cards)) + "\n" for line in ini), encoding="utf-8"
        )
        environment = dict(os.environ, XDG_CONFIG_DIRS=str(folder / "xdg"), HOME=str(folder), LC_ALL="C.UTF-8")
        environment.pop("BR_SETTINGS_INI_FILE", None)
        environment.pop("XDG_CONFIG_HOME", None)
        self.log = open(folder / "host.log", "w+b")
        self.host = subprocess.Popen(
            [*program, "--listen", "127.0.0.1:0", "--plugin", plugin],
            stdout=subprocess.PIPE, stderr=self.log, env=environment, cwd=folder,
        )
        ready = self.host.stdout.readline().decode()
        match = re.fullmatch(r"kavo-host ready: http://127\.0\.0\.1:(\d+)\r?\n", ready)
        if not match:
            raise SystemExit(f"kavo-host did not start: {ready!r}")
        self.address = "localhost:" + match[1]
        work = folder / "work"
        work.mkdir()
        self.shell = subprocess.Popen(
            ["bash", "--norc"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, env=environment, cwd=work,
        )

    def run(self, command):
        command = command.replace("localhost:8480", self.address).replace(CARDS, str(self.cards))
        script = command + f"\necho; echo '{MARK}'\n"
        self.shell.stdin.write(script.encode())
        self.shell.stdin.flush()
        lines = []
        while True:
            line = self.shell.stdout.readline().decode(errors="replace")
            if not line:
                raise SystemExit("the shell ended early")
            if line == MARK + "\n":
                break
            lines.append(line.replace(self.address, "localhost:8480").replace(str(self.cards), CARDS))
        # The empty line that sets the mark apart from output without a final line end.
        text = "".join(lines)
        return text[:-1] if text.endswith("\n\n") or text == "\n" else text

    def close(self):
        self.shell.stdin.close()
        self.shell.wait()
        self.host.send_signal(signal.SIGINT) # which Wine makes the Ctrl+C of a Windows program
        status = self.host.wait(timeout=30)
        self.log.close()
        self.settings.unlink()
        return status


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--host", required=True)
    parser.add_argument("--plugin", required=True)
    parser.add_argument("--wine", help="runs a Windows host in the folder that WINEPREFIX names")
    parser.add_argument("page", type=pathlib.Path)
    options = parser.parse_args()
    commands, ini = read_page(options.page)
    if not commands:
        raise SystemExit(f"{options.page} shows no command: nothing would be tested")
    failures = 0
    with tempfile.TemporaryDirectory() as name:
        program, settings = [options.host], pathlib.Path(name, "xdg")
        if options.wine: # on Windows no variable moves the folder of system-wide settings
            program.insert(0, options.wine)
            settings = pathlib.Path(os.environ["WINEPREFIX"], "drive_c", "ProgramData")
        session = Session(program, options.plugin, pathlib.Path(name), settings, ini)
        for number, command, expected in commands:
            output = session.run(command)
            if not to_pattern(expected).fullmatch(output):
                failures += 1
                print(f"{options.page}:{number}: $ {command}\n--- the page says\n"
                      + "\n".join(expected) + f"\n--- it is\n{output}", flush=True)
        status = session.close()
        if status != 0:
            failures += 1
            print(f"kavo-host ended with status {status}")
    print(f"{options.page.name}: {len(commands)} commands, {failures} failed")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
