# Links of the pages, for Doxygen: it knows the pages but no places within them, and nothing else
# of the tree.
s/\](\([A-Za-z_/]*\.md\)#[^)]*)/](\1)/g
s/\[\([^]]*\)\](#[^)]*)/\1/g
s/\[\([^]]*\)\](\.\.\/[^)]*)/\1/g
s/\[\([^]]*\)\](\([a-z_/]*\.cpp\))/\1/g
