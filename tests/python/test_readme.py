import os
import re
import subprocess
import sys

README = os.path.join(os.path.dirname(__file__), "..", "..", "README.md")


def test_readme_python_examples_run_as_written(files, tmp_path):
    text = open(README).read()
    section = text[text.index("## Use it from Python"):text.index("## Take the data elsewhere")]
    examples = re.findall(r"```python\n(.*?)```", section, re.S)
    assert len(examples) == 2
    (tmp_path / "demo.mcf").write_bytes((files / "demo.mcf").read_bytes())
    first = subprocess.run([sys.executable, "-c", examples[0]], cwd=tmp_path, check=True, capture_output=True,
                           text=True).stdout.splitlines()
    shape, values = first[0].split(") ")
    assert shape == "(4, 1, 1024" and len(values.strip("[]").split()) == 5 and len(first) == 2
    # The cluster example as a script, so its worker processes can import it.
    (tmp_path / "cluster.py").write_text(examples[1])
    means = subprocess.run([sys.executable, "cluster.py"], cwd=tmp_path, check=True, capture_output=True,
                           text=True).stdout
    assert len(set(means.strip("[]\n").split())) == 1  # four copies of one file
