# Makes a Touchstone file of a four-port from ngspice's table: frequency, then S11, S12, ..., S44 as real and
# imaginary parts, one frequency a line. Touchstone takes one row of the matrix a line.
BEGIN { print "# Hz S RI R 50" }
NF != 33 { print "line " NR ": " NF " columns instead of 33" >"/dev/stderr"; exit 1 }
{
  for (row = 0; row < 4; row++) {
    line = row == 0 ? sprintf("%16s", $1) : sprintf("%16s", "")
    for (column = 1; column <= 8; column++) line = line sprintf(" %17s", $(1 + 8 * row + column))
    print line
  }
}
