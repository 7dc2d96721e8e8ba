"""Runs the Python script of a document (its first ```python block) as it stands there."""
import re
import sys

text = open(sys.argv[1], encoding="utf-8").read()
script = re.search(r"^```python\n(.*?)^```", text, re.S | re.M).group(1)
exec(compile(script, sys.argv[1], "exec"), {"__name__": "__main__"})
