"""Diagnostics with a source position."""


class Pos:
    """A position in a schema file; line and column count from 1."""
    __slots__ = ("file", "line", "col")

    def __init__(self, file, line, col):
        self.file = file
        self.line = line
        self.col = col

    def __str__(self):
        return "%s:%d:%d" % (self.file, self.line, self.col)

    def key(self):
        return (self.line, self.col)


class SchemaError(Exception):
    """An error in the schema, reported as `file:line:col: error: message`."""

    def __init__(self, pos, message):
        super().__init__("%s: error: %s" % (pos, message))
        self.pos = pos
        self.message = message
