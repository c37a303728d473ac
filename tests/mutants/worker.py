"""Builds mutants over the project's tree, which it never changes, and has their tests run in a cell.

Reads a request a line: {"targets": [...], "cases": [...]} and, for a mutant, "file" and "source" as base64;
answers each with a line: {"built": false}, or the cell's answer.
"""

import base64
import json
import os
import pathlib
import subprocess
import sys

CELL = pathlib.Path(__file__).with_name("cell.py")


def cover(tree):
    """From here on what is written into `tree` lands in memory, seen by this process and its children."""
    memory = "/tmp"
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4g", "tmpfs", memory], check=True)
    for folder in ("upper", "work"):
        os.mkdir(f"{memory}/{folder}")
    options = f"lowerdir={tree},upperdir={memory}/upper,workdir={memory}/work"
    subprocess.run(["mount", "-t", "overlay", "-o", options, "overlay", tree], check=True)
    os.chdir(tree)  # the one above what the process stood in


def build(folder, targets):
    command = ["ninja", "-C", folder, "-j1", *targets]
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode == 0


class Cell:
    """Where the cases run."""

    def __init__(self, tree):
        self.process = subprocess.Popen(
            ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc", sys.executable, CELL, tree],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def run(self, cases):
        self.process.stdin.write(json.dumps({"cases": cases}) + "\n")
        self.process.stdin.flush()
        line = self.process.stdout.readline()
        if not line:
            sys.exit("mutants: the cell has ended")
        return json.loads(line)


def answer(request, folder, cell):
    if "file" not in request:
        return cell.run(request["cases"]) if build(folder, request["targets"]) else {"built": False}
    path = pathlib.Path(request["file"])
    original = path.read_bytes()
    path.write_bytes(base64.b64decode(request["source"]))
    try:
        return cell.run(request["cases"]) if build(folder, request["targets"]) else {"built": False}
    finally:
        path.write_bytes(original)


def main():
    tree, folder = sys.argv[1:]
    cover(tree)
    cell = Cell(tree)
    for line in sys.stdin:
        print(json.dumps(answer(json.loads(line), folder, cell)), flush=True)


main()
