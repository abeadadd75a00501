import os
import re
import subprocess
import sys


README = os.path.join(os.path.dirname(__file__), "..", "..", "README.md")


def test_readme_python_example_runs_as_written(files, tmp_path):
    text = open(README).read()
    section = text[text.index("## Use it from Python"):]
    example = re.search(r"```python\n(.*?)```", section, re.S).group(1)
    assert len(example.strip().splitlines()) == 5
    (tmp_path / "demo.mcf").write_bytes((files / "demo.mcf").read_bytes())
    subprocess.run([sys.executable, "-c", example], cwd=tmp_path, check=True)
    assert (tmp_path / "spectrum.png").read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
