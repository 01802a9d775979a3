#!/bin/busybox sh
# The first program of an emulated machine: puts the host's own root, or another one in a folder of
# it, below a layer of memory, so that everything that is installed there runs here, nothing is ever
# written there, and hands over to the agent (agent.py). What it needs stands on the kernel's command line.
set -e
/bin/busybox mkdir -p /proc /sys /dev /host /layer /root
busybox() { /bin/busybox "$@"; }
busybox mount -t proc none /proc
busybox mount -t sysfs none /sys
busybox mount -t devtmpfs none /dev

option() {
    /bin/busybox sed -n "s/.*\blab\.$1=\([^ ]*\).*/\1/p" /proc/cmdline
}
tree=$(option tree)
drivers=$(option drivers | /bin/busybox tr , ' ')
agent=$(option agent)
first=$(option first)
root=$(option root)

busybox hostname lab
while read -r module; do
    busybox insmod "/modules/$module"
done </modules/order

busybox mount -t 9p -o ro,trans=virtio,version=9p2000.L,cache=loose,msize=262144 hostroot /host
busybox mount -t tmpfs -o mode=0755 none /layer
busybox mkdir /layer/upper /layer/work
busybox mount -t overlay -o "lowerdir=/host$root,upperdir=/layer/upper,workdir=/layer/work" none /root
if [ -n "$root" ]; then
    for folder in "$tree" "${agent%/*}"; do
        busybox mkdir -p "/root$folder"
        busybox mount -o bind "/host$folder" "/root$folder"
    done
fi

busybox mkdir -p /dev/pts /dev/shm
busybox mount -t devpts -o mode=0620,ptmxmode=0666 none /dev/pts
busybox mount -t tmpfs -o mode=1777 none /dev/shm
# The host's device manager and daemons are none of ours; /tmp stays, for the tree may lie there.
busybox mkdir -p /root/lab
for folder in run lab; do
    busybox mount -t tmpfs -o mode=0755 none "/root/$folder"
done
for folder in proc sys dev; do
    busybox mount -o move "/$folder" "/root/$folder"
done
busybox mkdir -p /root/lib/modules
busybox mount -o bind "/root$tree/lib/modules" /root/lib/modules
# In the order that the machine asks for, one after the other: it decides who is called sda.
for driver in $drivers; do
    busybox chroot /root /sbin/modprobe "$driver"
done
if [ "$first" = systemd ]; then
    # The host's own services and timers stay off, and its /tmp as it is: of its units only what any
    # start takes.
    busybox mkdir -p /root/run/systemd/system
    # The host may be a container; the machine is none.
    busybox rm -f /root/.dockerenv
    busybox ln -s /dev/null /root/run/systemd/system/systemd-tmpfiles-setup.service
    busybox cat >/root/run/systemd/system/lab.target <<UNIT
[Unit]
Description=The laboratory
Wants=sysinit.target sockets.target lab-agent.service
UNIT
    busybox cat >/root/run/systemd/system/lab-agent.service <<UNIT
[Unit]
Description=What the tests ask
After=sysinit.target sockets.target
[Service]
ExecStart=/usr/bin/python3 -I -S $agent
OOMScoreAdjust=-900
UNIT
    exec /bin/busybox switch_root /root /lib/systemd/systemd --unit=lab.target
fi
exec /bin/busybox switch_root /root /usr/bin/python3 -I -S "$agent"
