"""The exceptions of the discrete package.

Every failure the runner reports reaches Python as one of these, with the
runner's own message: a mistake in the problem names the field and what is
wrong with it, a database that cannot be used names the file.
"""


class Error(RuntimeError):
    """A search that could not run or a database that could not be read."""

    def __init__(self, message, detail=None):
        super().__init__(message)
        self.detail = detail


class ProblemError(Error, ValueError):
    """A problem with mistakes. ``issues`` lists (field, message) pairs, one per
    mistake, such as ("variables.x.lower", "70 is above upper bound 60")."""

    def __init__(self, message, issues=None):
        super().__init__(message, issues)
        self.issues = list(issues or [])


class DatabaseError(Error):
    """A task database that cannot be opened, read or written."""
