"""What the lab's init scripts share: running programs, and what the network is now."""

import glob
import json
import os
import re
import signal
import subprocess
import sys
import time
import traceback

RUN = "/var/run/lab"
os.environ["PATH"] = ":".join(
    ["/opt/lab/root" + folder for folder in ("/usr/sbin", "/usr/bin", "/sbin", "/bin")]
    + ["/host/usr/sbin", "/host/usr/bin", "/sbin", "/usr/sbin", "/usr/bin"]
)
os.environ["LD_LIBRARY_PATH"] = ":".join(glob.glob("/opt/lab/root/usr/lib/*-linux-gnu*") + glob.glob("/opt/lab/root/lib/*-linux-gnu*"))
os.makedirs(RUN, exist_ok=True)
os.makedirs("/var/log/lab", exist_ok=True)


def log(text):
    """What the kernel or a program here cannot do; a story may ask for it."""
    with open("/var/log/lab/log", "a", encoding="utf-8") as file:
        file.write(text + "\n")


def fail(kind, value, trace):
    log("".join(traceback.format_exception(kind, value, trace)))


sys.excepthook = fail


def run(*arguments, **options):
    """Runs a program to its end; the result has its code and its output."""
    result = subprocess.run(arguments, capture_output=True, text=True, check=False, **options)
    if result.returncode != 0:
        log("%s: %d: %s" % (" ".join(arguments), result.returncode, (result.stderr or result.stdout).strip()))
    return result


def write(path, text, mode=0o644):
    with open(os.open(path + ".new", os.O_CREAT | os.O_WRONLY | os.O_TRUNC, mode), "w", encoding="utf-8") as file:
        file.write(text)
    os.rename(path + ".new", path)


def pid_file(name):
    return "%s/%s.pid" % (RUN, name)


def pid_of(name):
    """The process of a service that runs, or 0."""
    try:
        with open(pid_file(name), encoding="ascii") as file:
            pid = int(file.read())
        os.kill(pid, 0)
        with open("/proc/%d/stat" % pid, encoding="utf-8", errors="replace") as file:
            return 0 if file.read().rpartition(")")[2].split()[0] == "Z" else pid
    except (OSError, ValueError):
        return 0


def start(name, *arguments, environment=None, ready=None):
    """Starts a program that stays in the foreground, and waits for what it writes when it is ready."""
    path = "/var/log/lab/" + name
    with open(path, "ab") as output:
        before = output.tell()
        process = subprocess.Popen(
            arguments,
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=output,
            start_new_session=True,
            close_fds=True,
            env=dict(os.environ, **(environment or {})),
        )
    write(pid_file(name), str(process.pid))
    for _ in range(100 if ready else 0):
        with open(path, encoding="utf-8", errors="replace") as file:
            file.seek(before)
            if re.search(ready, file.read()) or process.poll() is not None:
                return
        time.sleep(0.02)


def wait_for_path(path):
    for _ in range(150):
        if os.path.exists(path):
            return
        time.sleep(0.02)


def wait_for_port(port):
    """Until somebody listens there."""
    for _ in range(150):
        with open("/proc/net/tcp", encoding="ascii") as file:
            if ":%04X 00000000:0000 0A" % port in file.read():
                return
        time.sleep(0.02)


def stop(name):
    pid = pid_of(name)
    if pid:
        os.kill(pid, signal.SIGTERM)
        for _ in range(150):
            if not pid_of(name):
                break
            time.sleep(0.02)
        else:
            os.kill(pid, signal.SIGKILL)
    if os.path.exists(pid_file(name)):
        os.unlink(pid_file(name))


def addresses(device):
    """The IPv4 addresses of a device, with their lengths."""
    result = subprocess.run(["ip", "-j", "addr", "show", "dev", device], capture_output=True, text=True, check=False)
    if result.returncode != 0 or not result.stdout.strip():
        return []
    return [
        "%s/%d" % (one["local"], one["prefixlen"])
        for link in json.loads(result.stdout)
        for one in link.get("addr_info", [])
        if one["family"] == "inet"
    ]


def state(interface):
    """What the network's script knows of an interface: its device, whether it is up."""
    try:
        with open("%s/network.%s.json" % (RUN, interface), encoding="utf-8") as file:
            return json.load(file)
    except (OSError, ValueError):
        return {}


def main(start_service, stop_service, reload_service=None):
    """The actions of an init script; what others do with theirs is a restart."""
    with open("/var/log/journal.txt", "a", encoding="utf-8") as file:
        file.write(" ".join(sys.argv) + "\n")
    action = sys.argv[1] if len(sys.argv) > 1 else ""
    if action == "start":
        start_service()
    elif action == "stop":
        stop_service()
    elif action == "reload" and reload_service:
        reload_service()
    elif action in ("restart", "reload"):
        stop_service()
        start_service()
    elif action in ("enable", "disable"):
        link = "/etc/rc.d/S50" + os.path.basename(sys.argv[0])
        os.makedirs("/etc/rc.d", exist_ok=True)
        if os.path.lexists(link):
            os.unlink(link)
        if action == "enable":
            os.symlink("../init.d/" + os.path.basename(sys.argv[0]), link)
    elif action == "enabled":
        sys.exit(0 if os.path.lexists("/etc/rc.d/S50" + os.path.basename(sys.argv[0])) else 1)
    else:
        sys.exit(1)
