# The texts that the program prints about itself, for the folders of an installation. Takes PROGRAM, FOLDER and VERSION.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER}/man1)
execute_process(COMMAND ${PROGRAM} man --to ${FOLDER}/man1 COMMAND_ERROR_IS_FATAL ANY)
foreach(shell IN ITEMS bash zsh fish)
    execute_process(COMMAND ${PROGRAM} completion ${shell} OUTPUT_FILE ${FOLDER}/salvor.${shell}
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(WRITE ${FOLDER}/changelog "salvor (${VERSION}) unstable; urgency=medium

  * Built from its source tree.

 -- Salvor maintainers <salvor@salvor.example>  Thu, 01 Jan 2026 00:00:00 +0000
")
file(GLOB pages ${FOLDER}/man1/*.1)
execute_process(COMMAND gzip -9nf ${pages} ${FOLDER}/changelog COMMAND_ERROR_IS_FATAL ANY)
file(TOUCH ${FOLDER}/done)
