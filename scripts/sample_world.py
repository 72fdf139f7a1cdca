"""What the demo and the pictures show: a Workplace and two projects outside it, served by a sample
Agent.
"""
import os

from desktop_session import wait_until
from sample_agent import SampleAgent

NAME = "com.kelvo.FinderSync"
REPORT = "Quarterly report.odt"
LOCK = "Lock for Me"
ITEMS = {
    "Budget 2027.ods": {"modifiedBy": "Ben Okafor"},
    REPORT: {"status": 1, "fileId": "700142"},
    "Contract.pdf": {"lock": 1, "owner": "Dana Whitfield", "lockTime": 1790000000},
    "Floor plan.odg": {"lock": 2},
    "Minutes.txt": {"lock": 3, "owner": "Ben Okafor"},
    "Price list.csv": {"denied": 2},
}
FOLDERS = {"Archive": {}, "Photos": {"status": 1}, "Suppliers": {"denied": 3}}
# Shared folders of the account; those outside the Workplace are external projects.
PROJECTS = [{"id": "101", "name": "Suppliers", "owner": "Sample User", "subscribed": True},
            {"id": "102", "name": "Harbour", "owner": "Dana Whitfield", "subscribed": True,
             "external": True},
            {"id": "103", "name": "Museum", "owner": "Sample User", "subscribed": True,
             "external": True},
            {"id": "104", "name": "Archive 2025", "owner": "Ben Okafor", "total-files": 412,
             "total-size": 96000000}]
EXTERNAL = {
    "Harbour": {"Crane survey.odt": {"lock": 1, "owner": "Dana Whitfield"},
                "Permit.pdf": {"denied": 2}, "Quay plan.odg": {"status": 1}, "Tides.csv": {}},
    "Museum": {"Catalogue.odt": {}, "Floor plan.odg": {"lock": 2}},
}
PATIENCE = 30  # seconds; the badges take one to three


class SampleWorld:
    """The folders in the session's home, and what the extension says of them."""

    def __init__(self, build, session):
        self._build = build
        self._session = session
        self.agent = None
        self.work = os.path.join(session.home, "Kelvo Workplace")
        self.projects = os.path.join(session.home, "Projects")
        for name in FOLDERS:
            os.makedirs(os.path.join(self.work, name))
        for name in ITEMS:
            self._make(os.path.join(self.work, name))
        self._scenario = [dict(state, path=name) for name, state in {**ITEMS, **FOLDERS}.items()]
        for project, items in EXTERNAL.items():
            os.makedirs(os.path.join(self.projects, project))
            for name, state in items.items():
                path = os.path.join(self.projects, project, name)
                self._make(path)
                self._scenario.append(dict(state, path=path))

    def _make(self, path):
        with open(path, "w", encoding="utf-8") as file:
            file.write("A sample.\n")

    def start(self):
        """The session, with the Agent in it."""
        self._session.start({NAME: self._build + "/bin/kelvo-finder-sync"})
        projects = [dict(project, **{"local-path": os.path.join(
            self.projects if project.get("external") else self.work, project["name"])})
            for project in PROJECTS]
        self.agent = SampleAgent(self._session, self._build + "/bin/kelvo-sample-agent", self.work,
                                 self._scenario, projects)

    def finder(self, *arguments):
        return self._session.run([self._build + "/bin/kelvo-finder", *arguments]).decode()

    def badges(self, folder=None):
        return self.finder("badges", "--wait", "10", folder or self.work)

    def wait_watching(self):
        """Until the external projects are among the watched folders; these."""
        folders = [os.path.join(self.projects, name) for name in EXTERNAL]
        wait_until(lambda: all(folder in self.finder("status") for folder in folders), PATIENCE,
                   "both external projects among the watched folders")
        return folders
