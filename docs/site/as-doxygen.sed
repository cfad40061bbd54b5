# A header's plain comments as doxygen wants them: the first is the file's own.
1s|^/\* |/** @file\n * |
s|^\( *\)/\* |\1/** |
s|^\(.*[^ ].*\) /\* |\1 /**< |
