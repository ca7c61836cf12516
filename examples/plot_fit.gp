# Draws a plot file of S_Solver: magnitude of data and fit, and the error below.
# Usage: LC_ALL=C.UTF-8 gnuplot -c plot_fit.gp f_data.out OUTPUT TITLE, for OUTPUT.png and OUTPUT.svg

datafile = ARG1
output_base = ARG2

decibel(re, im) = 10 * log10(re**2 + im**2)
error(re, im, fit_re, fit_im) = sqrt((re - fit_re)**2 + (im - fit_im)**2)
megahertz(f) = f / 1e6

draw = "\
set multiplot layout 2,1 title ARG3 font ',14'; \
set grid lw 1 lc rgb '#cccccc'; \
set autoscale xfix; set lmargin 11; set rmargin 4; \
set ylabel 'magnitude / dB'; set xlabel ''; set key bottom center; unset logscale y; set format y '%g'; \
plot datafile skip 2 using (megahertz($1)):(decibel($2, $3)) with points pt 6 ps 0.6 lc rgb '#888888' title 'data', \
     datafile skip 2 using (megahertz($1)):(decibel($5, $6)) with lines lw 2 lc rgb '#c0392b' title 'fit'; \
set ylabel 'error |data - fit|'; set xlabel 'frequency / MHz'; set logscale y; set format y '10^{%L}'; unset key; \
plot datafile skip 2 using (megahertz($1)):(error($2, $3, $5, $6)) with lines lw 1.5 lc rgb '#2c3e50'; \
unset multiplot"

set terminal pngcairo size 900,700 font 'DejaVu Sans,11'
set output output_base.'.png'
@draw
set terminal svg size 900,700 font 'DejaVu Sans,11' background rgb 'white'
set output output_base.'.svg'
@draw
