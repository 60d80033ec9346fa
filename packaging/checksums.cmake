# Writes the checksums of each file below the directory LAYOUT beside it, as Maven's clients look for them.
file(GLOB_RECURSE files ${LAYOUT}/*)
foreach(file ${files})
    file(MD5 ${file} md5)
    file(SHA1 ${file} sha1)
    file(WRITE ${file}.md5 ${md5})
    file(WRITE ${file}.sha1 ${sha1})
endforeach()
