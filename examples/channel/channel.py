#!/usr/bin/env python3
"""Writes the scattering parameters of a trace on a board as Touchstone: three pieces of lossy line with an open stub
at the end of the first one.

    R  skin effect: sqrt(R0^2 + (Rs (1 + j) sqrt(f))^2), which is R0 below and has its inductance above
    C  a dielectric whose loss is the same over many decades, with the real part that causality asks of it:
       er + slope ln((f2 + j f) / (f1 + j f)) (A. R. Djordjevic, R. M. Biljic, V. D. Likar-Smiljanic, T. K. Sarkar,
       "Wideband frequency-domain characterization of FR-4 and time-domain causality", 2001)

Usage: channel.py >channel.s2p
"""

import cmath
import math

LIGHT = 299792458.0
REFERENCE = 50.0
R0 = 6.0  # ohms a metre at 0 Hz
RS = 1.1e-3  # ohms a metre and root of hertz
ER, TAN_DELTA, F1, F2 = 3.6, 0.015, 1e3, 1e12
SLOPE = ER * TAN_DELTA / (0.5 * math.pi)  # the imaginary part of the logarithm is pi / 2 between f1 and f2


def line(impedance, length, f):
    """The chain matrix of a line, whose impedance is that without losses."""
    speed = LIGHT / math.sqrt(ER)
    s = 2j * math.pi * f
    resistance = cmath.sqrt(R0**2 + (RS * (1 + 1j)) ** 2 * f)
    permittivity = 1 + SLOPE / ER * (cmath.log((F2 + 1j * f) / (F1 + 1j * f)) - math.log(F2 / 1e9))
    z = resistance + s * impedance / speed
    y = s * permittivity / (impedance * speed)
    if f == 0.0:
        return [[1, z * length], [0, 1]]
    gamma, characteristic = cmath.sqrt(z * y), cmath.sqrt(z / y)
    c, h = cmath.cosh(gamma * length), cmath.sinh(gamma * length)
    return [[c, characteristic * h], [h / characteristic, c]]


def open_stub(impedance, length, f):
    chain = line(impedance, length, f)
    return [[1, 0], [chain[1][0] / chain[0][0], 1]]


def product(a, b):
    return [[sum(a[i][k] * b[k][j] for k in range(2)) for j in range(2)] for i in range(2)]


def scattering(chain):
    (a, b), (c, d) = chain
    b, c = b / REFERENCE, c * REFERENCE
    sum_ = a + b + c + d
    return (a + b - c - d) / sum_, 2 / sum_, 2 * (a * d - b * c) / sum_, (d + b - c - a) / sum_


print("! Lines of 50, 50 and 42 ohms, 30, 40 and 30 mm; an open stub of 2.5 mm and 60 ohms behind the first")
print("# GHz S RI R 50")
for i in range(1001):
    gigahertz = 0.02 * i
    hertz = 1e9 * gigahertz
    whole = line(50.0, 0.030, hertz)
    for part in (open_stub(60.0, 0.0025, hertz), line(50.0, 0.040, hertz), line(42.0, 0.030, hertz)):
        whole = product(whole, part)
    print(f"{gigahertz:.2f} " + " ".join(f"{z.real:.8g} {z.imag:.8g}" for z in map(complex, scattering(whole))))
