// What the host can ask of the libav libraries loaded on first use.
#pragma once

// Whether libavformat (and the libraries it needs) can be loaded: false when
// the call that would load it would only fail.
bool libavformatLoads();
