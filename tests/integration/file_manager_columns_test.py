#!/usr/bin/python3
"""The real file manager: state, lock owner and permission in words, as a screen reader has them.

    file_manager_columns_test.py BUILD HOST EXTENSIONS [--keep FOLDER]

As file_manager_badges_test.py. In columns of the list, in Dolphin on a page of the properties.
"""
import sys

from desktop_session import wait_until
from file_manager import PATIENCE, FileManagerTest, run_test
from list_columns import column_texts, show_columns
from properties_page import PropertiesPage

STATES = [{"path": "locked", "lock": 1, "owner": "Eve"}]


class ColumnsTest(FileManagerTest):
    def __init__(self, arguments, session):
        super().__init__(arguments, session, ["plain", "locked"])
        self.page = PropertiesPage(self.files) if self.host == "dolphin" else None

    def texts(self, name):
        """{title: text}, as shown now."""
        if self.page:
            return self.page.texts(self.path(name))
        return column_texts(self.files, name)

    def wait_texts(self, name, *wanted, without=()):
        said = []

        def fits():
            said[:] = self.texts(name).values()
            return (all(any(text in each for each in said) for text in wanted)
                    and not any(text in said for text in without))
        wait_until(fits, PATIENCE, lambda: "%s of %s: %s" % (wanted, name, said))
        print("ok   %s: %s" % (name, [each for each in said if each in wanted]), flush=True)

    def run(self):
        if not self.page:
            show_columns(self.session, self.host)
        self.start_agent(STATES)
        self.files.start(self.work)
        self.files.wait_for(lambda counts: counts["in-sync"], "badges")
        self.wait_texts("plain", "In sync", without=["Eve"])
        self.wait_texts("locked", "Locked by another user", "Eve")
        self.agent.command("lock locked by Adam")
        self.wait_texts("locked", "Adam", without=["Eve"])
        self.agent.command("unlock locked")
        self.wait_texts("locked", "In sync", without=["Adam"])
        self.files.check_silence(criticals=False)


if __name__ == "__main__":
    sys.exit(run_test(ColumnsTest))
