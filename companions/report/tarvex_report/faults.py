"""What can go wrong on the way to a report, in words that say what to do."""


class ReportFault(Exception):
    """The report cannot be made; the text says what, where and what to do."""
