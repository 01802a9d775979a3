"""Makes one self-contained page of runs of Tarvex Diagnostics, to print, to mail and to keep."""
