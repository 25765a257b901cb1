"""Plain text tables."""


def lines(headings: list[str], rows: list[list[str]]) -> list[str]:
    """Left-aligned columns, two blanks apart, under a heading and a rule."""
    widths = [max(map(len, column)) for column in zip(headings, *rows)]
    ruler = ["-" * width for width in widths]
    return [
        "  ".join(cell.ljust(width) for cell, width in zip(cells, widths)).rstrip()
        for cells in (headings, ruler, *rows)
    ]
