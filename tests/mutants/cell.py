"""Runs the cases of tests where they can do no harm: everything but the folders for temporary files is
read-only, and what a case starts ends with it.

Reads a request a line, {"cases": [{"command": [...], "environment": {...}, "limit": seconds}]}, and answers
each with a line: {"passed": true, "seconds": [...]}, or {"passed": false, "case": number, "how": text}.
"""

import json
import os
import resource
import signal
import subprocess
import sys
import time

TEMPORARY = ["/tmp", "/var/tmp", "/dev/shm"]


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def mounted():
    with open("/proc/self/mounts", encoding="utf-8") as mounts:
        for line in mounts:
            yield line.split()[1].encode().decode("unicode_escape")


def lock_down(tree):
    """Leaves `tree` and everything else read-only, and proves it."""
    for place in list(mounted()):
        subprocess.run(["mount", "-o", "remount,bind,ro", place], stderr=subprocess.DEVNULL, check=False)
    for place in TEMPORARY:
        if os.path.isdir(place):
            mount("-t", "tmpfs", "-o", "size=2g,mode=1777", "tmpfs", place)
    for place in (tree, "/", "/var", "/home", "/usr"):
        if can_write(place):
            sys.exit(f"mutants: {place} can be written to, so no mutant is run")


def can_write(folder):
    probe = os.path.join(folder, ".mutants-probe")
    try:
        os.close(os.open(probe, os.O_CREAT | os.O_WRONLY))
    except OSError:
        return False
    os.unlink(probe)
    return True


def run(cases):
    seconds = []
    for number, case in enumerate(cases):
        start = time.monotonic()
        how = failure(case)
        if how:
            return {"passed": False, "case": number, "how": how}
        seconds.append(time.monotonic() - start)
    return {"passed": True, "seconds": seconds}


def failure(case):
    process = subprocess.Popen(
        case["command"], env={**os.environ, **case["environment"]}, cwd="/tmp", start_new_session=True,
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        status = process.wait(case["limit"])
        return "" if status == 0 else f"status {status}"
    except subprocess.TimeoutExpired:
        return "timeout"
    finally:
        kill_all_others()
        process.wait()


def kill_all_others():
    """This process is the first of its namespace, and what it signals are those within."""
    try:
        os.kill(-1, signal.SIGKILL)
    except ProcessLookupError:
        return
    while True:
        try:
            if os.waitpid(-1, os.WNOHANG) == (0, 0):
                time.sleep(0.001)
        except ChildProcessError:
            return


def main():
    assert os.getpid() == 1, "scripts/mutants starts this in a namespace of its own"
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    lock_down(sys.argv[1])
    for line in sys.stdin:
        print(json.dumps(run(json.loads(line)["cases"])), flush=True)


main()
