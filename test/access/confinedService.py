#!/usr/bin/env python3
"""Runs a program as the service manager would run it for a unit, where there is no service manager.

usage: confinedService.py UNIT PROGRAM [ARGUMENT...]

The program gets what the unit's [Service] section says of its user, its view of the files, its rights and its system
calls. A directive that is not known here is an error, so that nothing of the unit is left out unseen. For root.
"""
import ctypes
import grp
import os
import platform
import pwd
import re
import resource
import struct
import subprocess
import sys
import tempfile

CLONE_NEWNS, CLONE_NEWIPC, CLONE_NEWNET = 0x00020000, 0x08000000, 0x40000000
ANY_NAMESPACE = 0x7E020080
PR_SET_NO_NEW_PRIVS, PR_CAPBSET_DROP, PR_SET_SECCOMP, SECCOMP_MODE_FILTER = 38, 24, 22, 2
EPERM, ENOSYS, EAFNOSUPPORT = 1, 38, 97
AUDIT_ARCH = {"x86_64": 0xC000003E, "aarch64": 0xC00000B7}[platform.machine()]

# Those that concern the manager, those without an effect on this program, and those that others imply.
ELSEWHERE = {
    "Type", "ExecStart", "Restart", "RestartPreventExitStatus", "RemoveIPC", "KeyringMode",
    "SystemCallArchitectures",  # the filter below knows one
    "SystemCallErrorNumber",
    "IPAddressDeny",  # there is no network
    "AmbientCapabilities", "PrivateMounts",
    "ProtectClock", "ProtectHostname", "ProtectKernelLogs", "ProtectKernelModules", "RestrictRealtime",  # no rights
    "LockPersonality",
}

libc = ctypes.CDLL(None, use_errno=True)


def check(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def read_unit(path):
    """The directives of [Service], each a list of its values."""
    directives, section = {}, ""
    with open(path) as unit:
        for line in unit:
            line = line.strip()
            if line.startswith("["):
                section = line
            elif section == "[Service]" and line and line[0] not in "#;":
                name, value = line.split("=", 1)
                directives.setdefault(name, []).append(value)
    return directives


# ---- The view of the files

def mount_points():
    with open("/proc/self/mountinfo") as table:
        return [re.sub(r"\\(\d{3})", lambda code: chr(int(code[1], 8)), line.split()[4]) for line in table]


def make_private_devices():
    folder = tempfile.mkdtemp(dir="/run")
    mount("-t", "tmpfs", "-o", "mode=755", "none", folder)
    for device in ("null", "zero", "full", "random", "urandom"):
        os.close(os.open(f"{folder}/{device}", os.O_CREAT | os.O_WRONLY))
        mount("--bind", f"/dev/{device}", f"{folder}/{device}")
    os.mkdir(f"{folder}/shm")
    mount("--bind", "/dev/shm", f"{folder}/shm")
    mount("--move", folder, "/dev")
    os.rmdir(folder)


def protect_system(writable):
    for path in writable:
        mount("--bind", path, path)
    for path in mount_points():
        kept = any(path == kept or path.startswith(kept + "/") for kept in ("/dev", "/proc", "/sys", *writable))
        if not kept and os.path.exists(path):
            mount("-o", "remount,bind,ro", path)


def change_view(unit):
    check(libc.unshare(CLONE_NEWNS | CLONE_NEWIPC * ("PrivateIPC" in unit) | CLONE_NEWNET * ("PrivateNetwork" in unit)))
    mount("--make-rprivate", "/")
    if "PrivateDevices" in unit:
        make_private_devices()
    if "PrivateTmp" in unit:
        mount("-t", "tmpfs", "-o", "mode=1777", "none", "/tmp")
        mount("-t", "tmpfs", "-o", "mode=1777", "none", "/var/tmp")
    if "ProtectHome" in unit:
        for home in ("/home", "/root"):
            mount("-t", "tmpfs", "-o", "mode=000", "none", home)
    if "ProtectSystem" in unit:
        protect_system(" ".join(unit["ReadWritePaths"]).split())
    if "ProtectKernelTunables" in unit or "ProtectControlGroups" in unit:
        for path in mount_points():
            if path == "/sys" or path.startswith("/sys/"):
                mount("-o", "remount,bind,ro", path)
    if "ProcSubset" in unit or "ProtectProc" in unit:
        mount("-t", "proc", "-o", f"hidepid={unit['ProtectProc'][0]},subset={unit['ProcSubset'][0]}", "proc", "/proc")


# ---- The system calls

def call_numbers():
    macros = subprocess.run(["c++", "-E", "-dM", "-x", "c", "-include", "sys/syscall.h", "/dev/null"],
                            capture_output=True, text=True, check=True).stdout
    return {name: int(number) for name, number in re.findall(r"#define __NR_(\w+) (\d+)$", macros, re.M)}


def calls_of(names):
    """The names of calls behind names of calls and of sets of calls."""
    calls = set()
    for name in names:
        if name.startswith("@"):
            lines = subprocess.run(["systemd-analyze", "--no-pager", "syscall-filter", name], capture_output=True,
                                   text=True, check=True).stdout.splitlines()[1:]
            calls |= calls_of(line.strip() for line in lines if line.strip() and "#" not in line)
        else:
            calls.add(name)
    return calls


def allowed_calls(filters):
    allowed = set()
    for line in filters:
        names = calls_of(line.lstrip("~").split())
        allowed = allowed - names if line.startswith("~") else allowed | names
    return allowed


class Filter:
    """A program of the kernel's packet filter that judges system calls."""

    def __init__(self):
        self.code = []
        self.add(0x20, 4)  # architecture
        self.add(0x15, AUDIT_ARCH, 1, 0)
        self.give_back(0x80000000)  # kill
        self.add(0x20, 0)  # the call's number

    def add(self, operation, operand, if_true=0, if_false=0):
        self.code.append(struct.pack("HBBI", operation, if_true, if_false, operand))

    def give_back(self, verdict):
        self.add(0x06, verdict)

    def refuse(self, call, error=EPERM):
        self.add(0x15, call, 0, 1)
        self.give_back(0x00050000 | error)

    def refuse_if(self, call, argument, mask, value, error=EPERM, unless=False):
        """When that argument, masked, is the value, or unless it is."""
        self.add(0x15, call, 0, 5)
        self.add(0x20, 16 + 8 * argument)
        self.add(0x54, mask)
        self.add(0x15, value, *((1, 0) if unless else (0, 1)))
        self.give_back(0x00050000 | error)
        self.add(0x20, 0)

    def refuse_any_bit(self, call, argument, mask):
        self.refuse_if(call, argument, mask, 0, unless=True)

    def allow(self, call):
        self.add(0x15, call, 0, 1)
        self.give_back(0x7FFF0000)

    def install(self):
        self.give_back(0x00050000 | EPERM)
        program = ctypes.create_string_buffer(b"".join(self.code))
        header = struct.pack("HxxxxxxP", len(self.code), ctypes.addressof(program))
        check(libc.prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, header, 0, 0))


def make_filter(unit):
    number = call_numbers()
    result = Filter()
    if "MemoryDenyWriteExecute" in unit:
        result.refuse_if(number["mmap"], 2, 2 | 4, 2 | 4)
        result.refuse_any_bit(number["mprotect"], 2, 4)
        result.refuse_any_bit(number["pkey_mprotect"], 2, 4)
    if unit.get("RestrictAddressFamilies") == ["AF_UNIX"]:
        result.refuse_if(number["socket"], 0, 0xFFFFFFFF, 1, EAFNOSUPPORT, unless=True)
    if "RestrictNamespaces" in unit:
        result.refuse_any_bit(number["clone"], 0, ANY_NAMESPACE)
        result.refuse(number["clone3"], ENOSYS)  # its flags lie in memory
        result.refuse(number["unshare"])
        result.refuse(number["setns"])
    if "RestrictSUIDSGID" in unit:
        for call, argument in (("chmod", 1), ("fchmod", 1), ("fchmodat", 2), ("mkdir", 1), ("mkdirat", 2)):
            if call in number:
                result.refuse_any_bit(number[call], argument, 0o6000)
    for call in sorted(allowed_calls(unit["SystemCallFilter"])):
        if call in number:
            result.allow(number[call])
    return result


# ---- The rights

def drop_rights(unit):
    if unit["CapabilityBoundingSet"] != [""]:
        raise ValueError("a set of capabilities that isn't empty is not known here")
    capability = 0
    while libc.prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) == 0:
        capability += 1


def become(user, group):
    os.setgroups([])
    os.setgid(grp.getgrnam(group).gr_gid)
    os.setuid(pwd.getpwnam(user).pw_uid)


KNOWN = ELSEWHERE | {
    "User", "Group", "LimitNOFILE", "UMask", "ProtectSystem", "ReadWritePaths", "ProtectHome", "PrivateTmp",
    "PrivateDevices", "ProtectProc", "ProcSubset", "ProtectControlGroups", "ProtectKernelTunables", "PrivateIPC",
    "PrivateNetwork", "RestrictAddressFamilies", "NoNewPrivileges", "CapabilityBoundingSet", "RestrictNamespaces",
    "RestrictSUIDSGID", "MemoryDenyWriteExecute", "SystemCallFilter",
}


def main():
    unit, program = read_unit(sys.argv[1]), sys.argv[2:]
    unknown = unit.keys() - KNOWN
    if unknown:
        raise ValueError(f"confinedService: not known: {', '.join(sorted(unknown))}")
    calls = make_filter(unit)
    # What the new view may hide.
    user, group = unit["User"][0], unit["Group"][0]
    pwd.getpwnam(user)
    change_view(unit)
    drop_rights(unit)
    limit = int(unit["LimitNOFILE"][0])
    resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit))
    os.umask(int(unit["UMask"][0], 8))
    become(user, group)
    if "NoNewPrivileges" in unit:
        check(libc.prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0))
    calls.install()
    os.execv(program[0], program)


if __name__ == "__main__":
    main()
