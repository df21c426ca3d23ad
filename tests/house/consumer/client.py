"""What a program in Python finds of an installation: client.py PREFIX installed|loader|nothing."""

import sys

import qor_trace

prefix, what = sys.argv[1:]


def refused(call, words):
    try:
        call()
    except qor_trace.LoadError as problem:
        assert words in str(problem), problem
    else:
        raise AssertionError(f"not refused: {words}")


if what == "nothing":
    refused(qor_trace.Trace, "isn't installed where the system's loader looks")
elif what == "loader":
    # The stand-in lies where no loader finds it; it has to be asked for.
    refused(qor_trace.Trace, "needs the hardware library, libqor_api.so.2, and there is none")
else:
    library = qor_trace.load(prefix)
    assert library.path.startswith(prefix) and library.hardware_path.startswith(prefix), library
    with qor_trace.Trace("can?duration=1s&speed=max") as trace:
        trace.record()
        rows = trace.to_array()
        assert rows.size > 500
        trace.save("drive.mf4")  # by the program that is installed beside the library
    assert len(qor_trace.Recording("drive.mf4")) >= rows.size
    print(f"{rows.size} entries")
