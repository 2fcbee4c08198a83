# A folder with two files and a symbolic link from its subfolder back to itself.
file(REMOVE_RECURSE ${ROOT})
file(WRITE ${ROOT}/a.txt "a")
file(WRITE ${ROOT}/sub/b.txt "b")
file(CREATE_LINK ${ROOT} ${ROOT}/sub/back SYMBOLIC)
