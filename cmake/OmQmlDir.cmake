# OM_INSTALL_QMLDIR: where the QML module is installed, relative to the
# install prefix. By default the QML directory of the Qt the tree is built
# against, taken relative to Qt's own prefix (lib/x86_64-linux-gnu/qt5/qml
# on Debian): installed to Qt's prefix (/usr) the module is found at once;
# installed elsewhere it lies in the same place below that prefix, which
# QML2_IMPORT_PATH (Qt 5) or QML_IMPORT_PATH (Qt 6) then names.
if(NOT DEFINED OM_INSTALL_QMLDIR)
  set(_qml "")
  if(OM_QT_MAJOR EQUAL 6 AND DEFINED QT6_INSTALL_QML)
    set(_qml ${QT6_INSTALL_QML})
  elseif(TARGET ${OM_QT}::qmake)
    get_target_property(_qmake ${OM_QT}::qmake IMPORTED_LOCATION)
    execute_process(COMMAND ${_qmake} -query QT_INSTALL_QML
      OUTPUT_VARIABLE _qml_full OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    execute_process(COMMAND ${_qmake} -query QT_INSTALL_PREFIX
      OUTPUT_VARIABLE _qt_prefix OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(_qml_full AND _qt_prefix)
      file(RELATIVE_PATH _qml ${_qt_prefix} ${_qml_full})
    endif()
  endif()
  if(NOT _qml)
    set(_qml ${CMAKE_INSTALL_LIBDIR}/qt${OM_QT_MAJOR}/qml)
  endif()
  set(OM_INSTALL_QMLDIR ${_qml} CACHE PATH
    "Where the QML module om.platform is installed, relative to the prefix")
endif()
