#!/usr/bin/env python3
"""Times the tavio host against ffmpeg decoding the same inputs in the same run.

Each input is made here with ffmpeg (ten minutes of 5.1 by default, stereo for
MPEG audio) and decoded by both to raw PCM thrown away; the figure is the ratio
of CPU times (user + system of the child processes), the best of several
rounds, so a busy machine skews both sides alike. Usage:
    bench/host_vs_ffmpeg.py TAVIO [--seconds N] [--rounds N] [--format NAME ...]
"""
import argparse
import os
import resource
import subprocess
import sys
import tempfile

# How each format is made (ffmpeg encoder options, file name), what ffmpeg
# writes for the same job (its decoder's own sample format where it can be, or
# the same conversion), and tavio's options.
FORMATS = {
    "dvd-lpcm": ("-c:a pcm_dvd -sample_fmt s16 -f vob", "in.vob", "-f s16le", ""),
    "bluray-lpcm": ("-c:a pcm_bluray -sample_fmt s32 -f mpegts -mpegts_m2ts_mode 1", "in.m2ts", "-f s32le", ""),
    # AC-3 goes through AdecDDPlus (float frames, written as 32-bit integers).
    "ac3": ("-c:a ac3 -b:a 448k", "in.ac3", "-f s32le", ""),
    # E-AC-3 pass-through: converted to 640 kbit/s AC-3 in IEC 61937 bursts.
    "eac3-spdif": ("-c:a eac3 -b:a 640k", "in.eac3", "-c:a ac3 -b:a 640k -f spdif", "--spdif"),
    # 24-bit TrueHD; ffmpeg's decoder gives 32-bit words, tavio 24-bit samples.
    "truehd": ("-c:a truehd -strict -2 -sample_fmt s32", "in.thd", "-f s32le", ""),
    # MPEG audio carries at most two channels: the 5.1 tones are mixed down.
    "mp3": ("-ac 2 -c:a libmp3lame -b:a 320k", "in.mp3", "-f s16le", ""),
    "mp2": ("-ac 2 -c:a mp2 -b:a 384k", "in.mp2", "-f s16le", ""),
    # The encoder takes the side surrounds as Vorbis's back pair.
    "vorbis": ("-c:a libvorbis -q:a 6", "in.ogg", "-f f32le", ""),
    # FAAD2 against libavcodec's decoder, both to 16-bit.
    "aac": ("-c:a aac -b:a 256k", "in.m4a", "-f s16le", ""),
    # 1.5 Mbit/s 5.1; ffmpeg's DTS decoder writes float.
    "dts": ("-c:a dca -strict -2 -b:a 1509k", "in.dts", "-f f32le", ""),
}

# ffmpeg's AAC encoder codes 5.1(side) with a program config element that
# neither decoder maps back to 5.1; the back layout has a channel configuration.
LAYOUTS = {"aac": "5.1"}


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
            options, file_name, reference_output, tavio_options = FORMATS[name]
            path = os.path.join(folder, file_name)
            make = (f'ffmpeg -v error -f lavfi -i "aevalsrc={tones}:c={LAYOUTS.get(name, "5.1(side)")}:s=48000:d={args.seconds}" '
                    f"{options} -y {path}")
            subprocess.run(make, shell=True, check=True)
            ours = [args.tavio, "-q", *tavio_options.split(), path, "-o", "/dev/null"]
            reference = ["ffmpeg", "-v", "error", "-threads", "1", "-i", path, *reference_output.split(), "-y",
                         "/dev/null"]
            best = None
            for _ in range(args.rounds):
                ratio = cpu_seconds(ours) / max(cpu_seconds(reference), 1e-6)
                best = ratio if best is None else min(best, ratio)
            layout = "stereo" if "-ac 2" in options else "5.1"
            print(f"{name}: {args.seconds} s of {layout}, tavio / ffmpeg CPU time = {best:.2f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
