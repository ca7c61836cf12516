# CPU time of one iteration, reading and writing included, against the number of samples.
# Variables: table (grid.tsv of whole_runs), picture (the file to write).
set terminal svg size 720,480 font "DejaVu Sans,12" background "white"
set output picture
set logscale xy
set xlabel "samples"
set ylabel "CPU time of a run of one iteration [s]"
set key top left
set grid
# The ideal slope: proportional to the samples, from the largest run of 20 poles down.
stats table using 3 every ::3::3 nooutput
ideal(x) = STATS_max * x / 1e6
plot ideal(x) with lines dashtype 2 linecolor "gray40" title "proportional to the samples", \
  table using 1:2 with linespoints pointtype 7 title "4 poles", \
  table using 1:3 with linespoints pointtype 7 title "20 poles", \
  table using 1:4 with linespoints pointtype 7 title "60 poles", \
  table using 1:5 with linespoints pointtype 7 title "100 poles"
