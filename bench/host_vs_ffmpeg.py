#!/usr/bin/env python3
"""Times the tavio host against ffmpeg decoding the same inputs in the same run.

Each input is made here with ffmpeg (ten minutes of 5.1 by default) and decoded
by both to raw PCM thrown away; the figure is the ratio of CPU times (user +
system of the child processes), the best of several rounds, so a busy machine
skews both sides alike. Usage:
    bench/host_vs_ffmpeg.py TAVIO [--seconds N] [--rounds N] [--format NAME ...]
"""
import argparse
import os
import resource
import subprocess
import sys
import tempfile

# How each format is made (ffmpeg encoder options, file name) and the raw
# format ffmpeg writes, its decoder's own sample format where it can be.
FORMATS = {
    "dvd-lpcm": ("-c:a pcm_dvd -sample_fmt s16 -f vob", "in.vob", "s16le"),
    "bluray-lpcm": ("-c:a pcm_bluray -sample_fmt s32 -f mpegts -mpegts_m2ts_mode 1", "in.m2ts", "s32le"),
    "ac3": ("-c:a ac3 -b:a 448k", "in.ac3", "s16le"),
    # 1.5 Mbit/s 5.1; ffmpeg's DTS decoder writes float.
    "dts": ("-c:a dca -strict -2 -b:a 1509k", "in.dts", "f32le"),
}


def cpu_seconds(command):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tavio")
    parser.add_argument("--seconds", type=int, default=600)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--format", action="append", choices=sorted(FORMATS))
    args = parser.parse_args()
    tones = "|".join(f"0.3*sin({330 + 110 * c}*2*PI*t)" for c in range(6))
    with tempfile.TemporaryDirectory() as folder:
        for name in args.format or sorted(FORMATS):
            options, file_name, raw_format = FORMATS[name]
            path = os.path.join(folder, file_name)
            make = (f'ffmpeg -v error -f lavfi -i "aevalsrc={tones}:c=5.1(side):s=48000:d={args.seconds}" '
                    f"{options} -y {path}")
            subprocess.run(make, shell=True, check=True)
            ours = [args.tavio, "-q", path, "-o", "/dev/null"]
            reference = ["ffmpeg", "-v", "error", "-threads", "1", "-i", path, "-f", raw_format, "-y", "/dev/null"]
            best = None
            for _ in range(args.rounds):
                ratio = cpu_seconds(ours) / max(cpu_seconds(reference), 1e-6)
                best = ratio if best is None else min(best, ratio)
            print(f"{name}: {args.seconds} s of 5.1, tavio / ffmpeg CPU time = {best:.2f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
