"""axe-core on the page that a browser shows: what of WCAG 2.2 A and AA it finds missing."""
from page_case import PAGE_BUILD

AXE = PAGE_BUILD / "node_modules/axe-core/axe.min.js"
TAGS = ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22a", "wcag22aa"]


def faults_of_page(browser):
    """Each fault as the rule's name, its place and what is wrong there."""
    if not browser.execute_script("return typeof axe === 'object'"):
        # The debugger's own way in: the page's policy stands.
        browser.execute_cdp_cmd("Runtime.evaluate", {"expression": AXE.read_text(encoding="utf-8")})
    found = browser.execute_async_script(
        "const done = arguments[1]; axe.run(document, {runOnly: arguments[0], resultTypes: ['violations']})"
        ".then((r) => done(r.violations.flatMap((v) => v.nodes.map((n) => [v.id, n.target.join(' '), n.failureSummary]))),"
        "(e) => done([['axe', '', String(e)]]))", TAGS)  # fmt: skip
    return found
