"""The one exception that polefit raises of its own."""

from __future__ import annotations


class Error(ValueError):
    """What polefit cannot do, in a sentence, and what it is about.

    Attributes
    ----------
    kind : str
        One of ``no_samples``, ``bad_shape``, ``bad_frequency``, ``bad_sample``, ``bad_weight``, ``zero_data``,
        ``bad_option``, ``too_many_unknowns``, ``numerical_breakdown``, ``bad_model_file``, ``bad_network_file``.

    Examples
    --------
    >>> import polefit
    >>> try:
    ...     polefit.fit([1e9, 2e9], [1.0, float("nan")], poles=0)
    ... except polefit.Error as error:
    ...     print(error.kind)
    bad_sample
    """

    kind: str

    def __init__(self, sentence: str, kind: str) -> None:
        super().__init__(sentence)
        self.kind = kind

    def __reduce__(self) -> tuple[type[Error], tuple[str, str]]:
        return type(self), (str(self), self.kind)
