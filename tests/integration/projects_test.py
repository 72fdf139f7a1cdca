#!/usr/bin/python3
"""The account's projects in the extension: what it watches follows what the Agent says of them.

    projects_test.py BUILD_FOLDER [unittest arguments]
"""
import os
import sys
import unittest

from bus_client import NAME, BusClient
from desktop_session import PrivateSession, wait_until
from sample_agent import SampleAgent

BUILD = None
PATIENCE = 20  # seconds; on an idle machine nothing takes more than three


class ProjectsTest(unittest.TestCase):
    def setUp(self):
        self.session = PrivateSession()
        self.addCleanup(self.session.close)
        self.session.start({NAME: BUILD + "/bin/kelvo-finder-sync"})
        self.work, self.harbour, self.museum, self.moved = (
            os.path.join(self.session.home, name)
            for name in ("Work", "Projects/Harbour", "Projects/Museum", "Projects/Moved"))
        for file in (self.work + "/a", self.harbour + "/quay", self.museum + "/hall"):
            os.makedirs(os.path.dirname(file))
            self.append(file, "four")
        self.agent = SampleAgent(
            self.session, BUILD + "/bin/kelvo-sample-agent", self.work,
            [{"path": self.museum + "/hall", "lock": 1, "owner": "Eve"}],
            [{"id": "1", "name": "harbour", "local-path": self.harbour, "external": True,
              "subscribed": True, "owner": "Sample User", "read-only": True},
             {"id": "2", "name": "Museum", "local-path": self.museum, "external": True},
             {"id": "3", "name": "50%26; more", "local-path": self.work + "/More",
              "subscribed": True, "partial": True, "synced-files": 3, "synced-size": 1200}])
        self.client = BusClient(self.session.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.client.close)

    def append(self, path, text):
        with open(path, "a", encoding="utf-8") as file:
            file.write(text)

    def wait_watching(self, *folders):
        wait_until(lambda: self.client.directories() == list(folders), PATIENCE,
                   lambda: "watched folders %r" % (self.client.directories(),))

    def wait_badge(self, folder, name, badge):
        self.client.request(folder, [name])
        self.client.wait_badges(folder, {name: badge})

    def wait_projects(self, *lines):
        """Until kelvo-finder prints these lines, blanks made one: the two lists come one by one."""
        printed = []

        def all_there():
            output = self.session.run([BUILD + "/bin/kelvo-finder", "projects"]).decode()
            printed[:] = [" ".join(line.split()) for line in output.splitlines()]
            return [line for line in printed if line in lines] == list(lines)
        wait_until(all_there, PATIENCE, lambda: "projects are %r" % printed)

    def test_watched_folders_follow_external_projects(self):
        self.wait_watching(self.harbour, self.work)
        self.agent.command("subscribe 2")
        self.wait_watching(self.harbour, self.museum, self.work)
        self.wait_badge(self.museum, "hall", "3")
        self.wait_badge(self.harbour, "quay", "1")
        self.append(self.harbour + "/quay", "more")
        self.client.wait_badges(self.harbour, {"quay": "2"})

        self.agent.command("rename-project 2 Gallery")  # sorted before the other
        self.wait_watching(self.museum, self.harbour, self.work)
        os.rename(self.museum, self.moved)
        self.agent.command("move-project 2 " + self.moved)
        self.wait_watching(self.moved, self.harbour, self.work)
        self.wait_badge(self.moved, "hall", "3")

        self.wait_projects(
            "Synced projects",
            "3 50%26; more - 3 files, 1.2 KB (Selective Sync) " + self.work + "/More",
            "External projects",
            "2 Gallery - 1 files, 4 B " + self.moved,
            "1 harbour Me 1 files, 8 B, read-only " + self.harbour,
            "Synced 5 files, 1.2 KB", "Not synced 0 files, 0 B")

        self.agent.command("unsubscribe 1")
        self.wait_watching(self.moved, self.work)
        self.wait_projects("Projects that are not subscribed",
                           "1 harbour Me 1 files, 8 B, read-only -")
        self.agent.command("subscribe 1 Inside")  # below the Workplace, which is watched already
        self.wait_projects("1 harbour Me 0 files, 0 B, read-only %s/Inside" % self.work)
        self.wait_watching(self.moved, self.work)


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
