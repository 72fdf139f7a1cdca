"""The sample Agent as a process of a session."""
import os
import plistlib
import subprocess


class SampleAgent:
    """Serves `folder`; commands go to it by `command`, what it prints is in the session's logs.

    `scenario`: states of items by their paths; `projects`: what extensions are told of each.
    """

    def __init__(self, session, program, folder, scenario=(), projects=()):
        self._session = session
        self._command_line = [program]
        if scenario or projects:
            path = os.path.join(session.folder, "scenario.plist")
            with open(path, "wb") as file:
                plistlib.dump({"items": list(scenario), "projects": list(projects)}, file)
            self._command_line += ["--scenario", path]
        self._command_line.append(folder)
        self.process = None
        self.start()

    def start(self):
        self.process = self._session.spawn(self._command_line, stdin=subprocess.PIPE)

    def command(self, line):
        self.process.stdin.write(line.encode("utf-8") + b"\n")
        self.process.stdin.flush()
