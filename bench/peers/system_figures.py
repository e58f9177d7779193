"""What /proc tells about a server's processes: peak resident size, proportional memory
and CPU time."""

import os

TICKS = os.sysconf("SC_CLK_TCK")


def peak_kib(pid):
    """The process's peak resident size (VmHWM), KiB; 0 when it is gone."""
    try:
        with open("/proc/%d/status" % pid) as f:
            for line in f:
                if line.startswith("VmHWM:"):
                    return int(line.split()[1])
    except OSError:
        pass
    return 0


def pss_kib(pid):
    """The process's proportional set size now (shared pages divided among the processes
    that map them, so a sum over processes counts shared memory once), KiB."""
    try:
        with open("/proc/%d/smaps_rollup" % pid) as f:
            for line in f:
                if line.startswith("Pss:"):
                    return int(line.split()[1])
    except OSError:
        pass
    return 0


def cpu_seconds(pids):
    """CPU seconds (user and system) the processes used, with those of their children
    that they have waited for."""
    total = 0
    for pid in pids:
        try:
            with open("/proc/%d/stat" % pid) as f:
                fields = f.read().rsplit(")", 1)[1].split()
        except OSError:
            continue
        # utime, stime, cutime, cstime: fields 14 to 17 of the line, 12 to 15 after ")".
        total += sum(int(v) for v in fields[11:15])
    return total / TICKS


class CpuMeter:
    """CPU seconds of a process and every process it starts later, reaped or not: a
    cgroup of its own (cgroup v1 cpuacct, else v2) when the machine lets one be made;
    otherwise the process's own time and that of the children it waited for (a child that
    is reaped without a wait is then missed)."""

    def __init__(self, pid, name):
        self.pid, self.group, self.v2 = pid, None, False
        for root, v2 in (("/sys/fs/cgroup/cpuacct", False), ("/sys/fs/cgroup/unified", True),
                         ("/sys/fs/cgroup", True)):
            if not os.path.exists(os.path.join(root, "cpuacct.usage" if not v2
                                               else "cgroup.procs")):
                continue
            group = os.path.join(root, "calyx-bench-%d-%s" % (os.getpid(), name))
            try:
                os.mkdir(group)
                with open(os.path.join(group, "cgroup.procs"), "w") as f:
                    f.write(str(pid))
            except OSError:
                if os.path.isdir(group):
                    os.rmdir(group)
                continue
            self.group, self.v2 = group, v2
            break

    def seconds(self):
        if not self.group:
            return cpu_seconds([self.pid])
        if self.v2:
            with open(os.path.join(self.group, "cpu.stat")) as f:
                for line in f:
                    if line.startswith("usage_usec"):
                        return int(line.split()[1]) / 1e6
            return 0.0
        with open(os.path.join(self.group, "cpuacct.usage")) as f:
            return int(f.read()) / 1e9

    def close(self):
        """Removes the cgroup (once the process has exited)."""
        if self.group:
            try:
                os.rmdir(self.group)
            except OSError:
                pass
            self.group = None
