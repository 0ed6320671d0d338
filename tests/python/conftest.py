"""Shared problems of the Python package's tests."""

import pytest

import discrete


@pytest.fixture
def quadratic():
    """A small mixed problem whose optimum is known: x integer, y continuous,
    least (x - 2.4)^2 + (y - 1)^2 at x = 2, y = 1."""

    def make(objective="(x - 2.4)^2 + (y - 1)^2", **keywords):
        return discrete.Problem(
            "quadratic",
            variables=[discrete.Variable("x", "integer", 0, 6, start=5),
                       discrete.Variable("y", "continuous", -3, 3, start=0)],
            objective=objective, **keywords)

    return make
