# Links of the pages, for Doxygen: it knows the pages, but no places within them and no sources.
s/\](\([A-Za-z_./]*\.md\)#[^)]*)/](\1)/g
s/\[\([^]]*\)\](#[^)]*)/\1/g
s/\[\([^]]*\)\]([^)]*\.\(cpp\|h\))/\1/g
