# Lines "job|frame|who|seconds" to a Markdown table of ratios; of several measurements the best counts. `sets` has the
# names of the instruction sets.
function ratio(a, b) { return b > 0 && a > 0 ? sprintf("%.2f", a / b) : "" }
BEGIN { FS = "|" }
NF == 4 {
  key = $1 FS $2
  if (!(key in known)) { known[key] = 1; order[++count] = key }
  if (!((key FS $3) in time) || $4 < time[key FS $3]) time[key FS $3] = $4
}
END {
  setCount = split(sets, set, " ")
  heading = "| conversion | frame"
  for (s = 1; s <= setCount; ++s) heading = heading " | " set[s]
  print heading " | of copying | of the peak | over OpenCV | over libyuv | over the compiler |"
  gsub(/[^|]+/, "---", heading)
  print heading "|---|---|---|---|---|"
  for (i = 1; i <= count; ++i) {
    key = order[i]
    if (!((key FS "scalar") in time)) continue
    split(key, part, FS)
    plain = time[key FS "scalar"]
    best = plain
    row = "| " part[1] " | " part[2]
    for (s = 1; s <= setCount; ++s) {
      own = time[key FS set[s]]
      row = row " | " ratio(plain, own)
      if (own > 0 && own < best) best = own
    }
    row = row " | " ratio(time[key FS "copy"], best) " | " ratio(time[key FS "peak"], best)
    row = row " | " ratio(time[key FS "OpenCV"], best) " | " ratio(time[key FS "libyuv"], best)
    print row " | " ratio(time[key FS "compiler"], best) " |"
  }
}
