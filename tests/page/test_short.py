"""The usual ways through the pages."""
import unittest

from page_case import PASSWORD, PageTest


class Pages(PageTest):
    def test_overview(self):
        self.browser.wait_for("High")


if __name__ == "__main__":
    unittest.main()
