"""What the end-to-end tests of the program brv share. Their command line: TEST.py BRV PROJECT_DIR [unittest arguments]."""
import subprocess
import sys
import unittest
from pathlib import Path

BRV = str(Path(sys.argv[1]).resolve())
PROJECT = Path(sys.argv[2]).resolve()
DATA = PROJECT / "examples" / "data"
SVG = "{http://www.w3.org/2000/svg}"


def brv(*args, stdin=None, timeout=120):
    """Runs brv; stdin is text or bytes."""
    data = stdin.encode() if isinstance(stdin, str) else stdin
    done = subprocess.run([BRV, *args], input=data if data is not None else b"", capture_output=True, timeout=timeout)
    done.out, done.err = done.stdout.decode("utf-8"), done.stderr.decode("utf-8")
    return done


class BrvTest(unittest.TestCase):
    def expect_failure(self, args, text, code, message):
        """One line on the standard error, the given one; nothing on the standard output."""
        done = brv(*args, stdin=text)
        self.assertEqual((done.returncode, done.out), (code, ""), done.err)
        self.assertEqual(done.err, "brv: " + message + "\n")


def texts(chart):
    return [node.text for node in chart.iter(SVG + "text")]


def paths(chart, style):
    return [node.get("d") for node in chart.iter(SVG + "path") if node.get("class") == style]


def run_tests():
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
