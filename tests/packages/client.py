"""What a program in Python finds of the packages: client.py nothing|simulator|maker."""

import sys

import qor_trace

what = sys.argv[1]
if what == "nothing":
    try:
        qor_trace.Trace()
    except qor_trace.LoadError as problem:
        assert "needs the hardware library, libqor_api.so.2, and there is none" in str(problem), problem
    else:
        raise AssertionError("a trace without a hardware library")
elif what == "simulator":
    assert "/qor-sim/" in qor_trace.load().hardware_path
    with qor_trace.Trace("can?duration=1s&speed=max") as trace:
        trace.record()
        assert trace.to_array().size > 500
        trace.save("python.mf4")
    assert len(qor_trace.Recording("python.mf4")) > 500
else:
    library = qor_trace.load()
    assert library.hardware_path == "/usr/local/lib/libqor_api.so.2", library
    assert not library.has_sources
