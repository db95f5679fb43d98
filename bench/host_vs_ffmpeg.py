#!/usr/bin/env python3
"""Times the tavio host against ffmpeg decoding the same inputs in the same run.

Each input is made here with ffmpeg (ten minutes of 5.1 by default, stereo for
MPEG audio; AMR, which ffmpeg cannot encode here, is mono speech-band tones made
with the codec libraries' own encoders) and decoded by both to raw PCM thrown
away; the figure is the ratio of CPU times (user + system of the child
processes), each program's least over several rounds that alternate between
them, so a busy machine skews both sides alike. (The least of the per-round
ratios instead would pick the round where tavio was luckiest and the other
unluckiest, and flatter tavio by the noise.) With --floors (the folder of the programs bench/floors builds), each
format also gets tavio's CPU time against its codec library called directly,
writing the sample format tavio writes. Each format's line of figures gives
every program's least CPU time and its peak resident size. Usage:
    bench/host_vs_ffmpeg.py TAVIO [--seconds N] [--rounds N] [--format NAME ...] [--floors DIR]
"""
import argparse
import ctypes
import math
import os
import subprocess
import sys
import tempfile

# How each format is made (ffmpeg encoder options, file name), what ffmpeg
# writes for the same job (its decoder's own sample format where it can be, or
# the same conversion), and tavio's options.
FORMATS = {
    "dvd-lpcm": ("-c:a pcm_dvd -sample_fmt s16 -f vob", "in.vob", "-f s16le", ""),
    "bluray-lpcm": ("-c:a pcm_bluray -sample_fmt s32 -f mpegts -mpegts_m2ts_mode 1", "in.m2ts", "-f s32le", ""),
    # AC-3 goes through AdecDDPlus (float frames, which the host writes as
    # float; ffmpeg's float-to-integer conversion costs it next to nothing).
    "ac3": ("-c:a ac3 -b:a 448k", "in.ac3", "-f s32le", ""),
    # E-AC-3 pass-through: converted to 640 kbit/s AC-3 in IEC 61937 bursts.
    "eac3-spdif": ("-c:a eac3 -b:a 640k", "in.eac3", "-c:a ac3 -b:a 640k -f spdif", "--spdif"),
    # E-AC-3 to PCM: tavio converts it to AC-3 and decodes that (an encode
    # and a second decode on top of ffmpeg's one decode, so no goal is set).
    "eac3": ("-c:a eac3 -b:a 640k", "in.eac3", "-f f32le", ""),
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
    # Made by make_amr, not by ffmpeg: 12.2 kbit/s narrow band, 23.85 wide band.
    "amr-nb": (None, "in.amr", "-f s16le", ""),
    "amr-wb": (None, "in.awb", "-f s16le", ""),
}

# The floor program and its sample-format argument per format, where tavio's
# engine is a library of its own; the LPCM formats, whose floor is ffmpeg's
# read and copy, and E-AC-3 pass-through, whose decode and AC-3 encode ffmpeg
# does with the same libavcodec calls, have none.
FLOORS = {
    "ac3": ("packet_floor", "0"),
    "truehd": ("packet_floor", "24"),
    "dts": ("packet_floor", "24"),
    "aac": ("packet_floor", "16"),
    "mp3": ("mpg123_floor",),
    "mp2": ("mpg123_floor",),
    "vorbis": ("vorbis_floor",),
    "amr-nb": ("amr_floor",),
    "amr-wb": ("amr_floor",),
}

# ffmpeg's AAC encoder codes 5.1(side) with a program config element that
# neither decoder maps back to 5.1; the back layout has a channel configuration.
LAYOUTS = {"aac": "5.1"}


def make_amr(path, seconds, wideband):
    """An AMR file (RFC 4867 storage format) of three steady tones, encoded
    frame by frame with opencore-amrnb or vo-amrwbenc through ctypes."""
    rate = 16000 if wideband else 8000
    frame = rate // 50
    # One second of tones whose periods divide a second, cycled.
    second = (ctypes.c_short * rate)(*[int(32767 * (0.25 * math.sin(2 * math.pi * 300 * n / rate) +
                                                    0.15 * math.sin(2 * math.pi * 1100 * n / rate) +
                                                    0.1 * math.sin(2 * math.pi * 2300 * n / rate)))
                                       for n in range(rate)])
    if wideband:
        lib = ctypes.CDLL("libvo-amrwbenc.so.0")
        init, encode, close, mode = lib.E_IF_init, lib.E_IF_encode, lib.E_IF_exit, 8
    else:
        lib = ctypes.CDLL("libopencore-amrnb.so.0")
        init, encode, close, mode = lib.Encoder_Interface_init, lib.Encoder_Interface_Encode, \
            lib.Encoder_Interface_exit, 7
    init.restype = ctypes.c_void_p
    encode.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int]
    close.argtypes = [ctypes.c_void_p]
    state = init(0) if not wideband else init()
    out = (ctypes.c_ubyte * 64)()
    with open(path, "wb") as file:
        file.write(b"#!AMR-WB\n" if wideband else b"#!AMR\n")
        for index in range(seconds * 50):
            start = (index * frame) % rate
            speech = ctypes.byref(second, start * ctypes.sizeof(ctypes.c_short))
            size = encode(state, mode, speech, out, 0)
            file.write(bytes(out[:size]))
    close(state)


def run_measured(command):
    """CPU seconds (user + system) and peak resident size in MiB of one run;
    wait4 gives that child's own figures, where RUSAGE_CHILDREN would keep
    the largest peak of every child so far."""
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        raise subprocess.CalledProcessError(child.returncode, command)
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tavio")
    parser.add_argument("--seconds", type=int, default=600)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--format", action="append", choices=sorted(FORMATS))
    parser.add_argument("--floors", help="folder of the floor programs (build/bench/floors)")
    args = parser.parse_args()
    tones = "|".join(f"0.3*sin({330 + 110 * c}*2*PI*t)" for c in range(6))
    with tempfile.TemporaryDirectory() as folder:
        for name in args.format or sorted(FORMATS):
            options, file_name, reference_output, tavio_options = FORMATS[name]
            path = os.path.join(folder, file_name)
            if name.startswith("amr"):
                make_amr(path, args.seconds, name == "amr-wb")
                layout = "mono"
            else:
                make = (f'ffmpeg -v error -f lavfi -i "aevalsrc={tones}:c={LAYOUTS.get(name, "5.1(side)")}:s=48000:d={args.seconds}" '
                        f"{options} -y {path}")
                subprocess.run(make, shell=True, check=True)
                layout = "stereo" if "-ac 2" in options else "5.1"
            ours = [args.tavio, "-q", *tavio_options.split(), path, "-o", "/dev/null"]
            reference = ["ffmpeg", "-v", "error", "-threads", "1", "-i", path, *reference_output.split(), "-y",
                         "/dev/null"]
            floor = None
            if args.floors and name in FLOORS:
                program, *floor_options = FLOORS[name]
                floor = [os.path.join(args.floors, program), path, *floor_options]
            # The least CPU time and the largest peak resident size of each program.
            least = {}
            peak = {}

            def measured(program, command):
                seconds, mebibytes = run_measured(command)
                least[program] = min(least.get(program, seconds), seconds)
                peak[program] = max(peak.get(program, 0), mebibytes)
                return seconds

            for _ in range(args.rounds):
                measured("tavio", ours)
                measured("ffmpeg", reference)
                if floor:
                    measured("floor", floor)
            best = least["tavio"] / max(least["ffmpeg"], 1e-6)
            best_floor = least["tavio"] / max(least["floor"], 1e-6) if floor else None
            print(f"{name}: {args.seconds} s of {layout}, tavio / ffmpeg CPU time = {best:.2f}")
            if best_floor is not None:
                print(f"{name}: tavio / library floor CPU time = {best_floor:.2f}")
            elif args.floors:
                print(f"{name}: tavio / library floor CPU time = {best:.2f} (the floor is ffmpeg)")
            print(f"{name}: least CPU s / peak resident MiB: " +
                  ", ".join(f"{program} {least[program]:.3f} / {peak[program]:.1f}" for program in least))
    return 0


if __name__ == "__main__":
    sys.exit(main())
