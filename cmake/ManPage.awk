# Fills in a manual page: awk -f ManPage.awk GUIDE.md PAGE.in. A line "@HEADING@" of the page becomes
# what stands below that heading of the guide, so that formats are written down once. A row of a
# table becomes a paragraph with its first cell as the tag.

function roff(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    gsub(/^ +| +$/, "", text)
    while (sub(/`/, "\\fB", text))
        sub(/`/, "\\fP", text)
    return "\\&" text
}

function row(count, cell) {
    text = ".TP\n" roff(cell[2])
    for (at = 3; at < count; ++at)
        text = text (at == 3 ? "\n" : " \\(en ") roff(cell[at])
    return text
}

NR == FNR {
    if (/^#+ /) {
        heading = $0
        sub(/^#+ /, "", heading)
    } else if (/^\|/) {
        if (!/^\|-/) # the line below a table's head
            section[heading] = section[heading] row(split($0, cell, "|"), cell) "\n"
    } else {
        section[heading] = section[heading] (/./ ? roff($0) : ".PP") "\n"
    }
    next
}

/^@.*@$/ {
    heading = substr($0, 2, length($0) - 2)
    if (!(heading in section)) {
        print "no heading " heading > "/dev/stderr"
        exit 1
    }
    printf "%s", section[heading]
    next
}

{ print }
