# %% [markdown]
# From a Touchstone file to a transient, without a simulator: what a step of 35 ps becomes behind the channel, and its model
# as a circuit. Run it as a script, or cell by cell; pictures and circuit come into the current folder.

# %%
import pathlib

import matplotlib.pyplot as plt
import numpy as np

import polefit

# %% An order is found, and the model is passive at all frequencies.
fit = polefit.fit(pathlib.Path(__file__).with_name("channel.s2p"))
print(fit)
fit.plot(["S11", "S21"])
plt.savefig("channel_fit.png")

# %% A source of 1 V behind 50 ohms rises within 35 ps; 50 ohms are at the far end.
times = np.linspace(0.0, 1.6e-9, 1601)
step = ([0.0, 35e-12], [0.0, 1.0])
signals = fit.terminated_response(times, [step, None], resistances=50.0)

# %%
figure, axes = plt.subplots(layout="constrained")
axes.plot(times * 1e9, signals.voltages[:, 0], color="#e69f00", label="near end")
axes.plot(times * 1e9, signals.voltages[:, 1], color="#00478f", label="far end")
axes.set_xlabel("time / ns")
axes.set_ylabel("voltage / V")
axes.grid(color="#d8d8d8")
axes.legend()
figure.savefig("channel_transient.png")
print(f"far end: half of its last value after {times[np.argmax(signals.voltages[:, 1] > 0.5 * signals.voltages[-1, 1])]:.3g} s")

# %% The same model for any circuit simulator.
fit.write_spice("channel.cir", "channel")
